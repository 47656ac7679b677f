// cache_report.h - what a cache contains, for people and for programs.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/database_options.h"
#include "plugin/database/cached_database.h"

namespace veltra::host {

// The databases of the cache's catalogue, each file checked. Throws user_error
// (bad_input) if the cache has no usable catalogue.
std::vector<cached_database> look_at_cache(const database_options& options);

// A table with a heading: device, version, UUID, state, file. Every line ends in
// LF.
std::string format_cache_table(const std::vector<cached_database>& databases);

// The same as a JSON array of objects: "device", "version", "uuid", "file",
// "intact" (true or false), "state", and "reason" where there is one. Texts that
// are not UTF-8 get replacement characters.
std::string format_cache_json(const std::vector<cached_database>& databases);

// One sentence for a database that a decoding could not use, such as "modem-a
// 1.0 (UUID): missing, no file FILE".
std::string describe_fault(const cached_database& database);

}  // namespace veltra::host
