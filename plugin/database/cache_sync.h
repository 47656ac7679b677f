// cache_sync.h - keeping the cache of trace databases as its catalogue says.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "plugin/database/file_io.h"
#include "plugin/database/host_log.h"

namespace veltra {

// Returns the text of a JSON string with its reference to the environment
// replaced. Throws if `value` is not a string or the variable is not set.
using text_expansion = std::function<std::string(const kovax::json& value)>;

// Brings the cache up to date with its catalogue and appends to `directories`
// the version directory of each of the catalogue's entries: an absolute path in
// UTF-8, in the catalogue's order, as often as it is listed.
//
// `config` is the object "auto_detect_db_config" of the init parameters:
//   "cache_directory"     where the cache is; expanded; created if it is missing
//   "update_cache"        true: fetch the catalogue, and keep it if it is newer
//   "trace_db_locations"  where to fetch the catalogue, the best place first
//   "proxy_setting"       proxy for every download (download_to_string)
//   "root"                what "${root}" in a location stands for; expanded
//
// Every database that is listed is read and its digest compared; one that is
// missing or damaged is downloaded, without a look at what came: that is checked
// next time. The first failure ends the work, with what is done so far left in
// the cache; only the failure to fetch a catalogue is told as a recoverable
// failure and the next location tried. Files are replaced whole (write_file).
//
// Blocks for as long as the downloads take, on the caller's thread; several
// calls at a time must not run in one process (download_to_string).
//
// Throws std::runtime_error for settings that do not go together and for a
// catalogue that no location has; file_error; std::filesystem::filesystem_error
// naming "exists" or "create_directories"; the JSON library's errors; and what
// `expand`, the downloads and the host's log callback throw.
void sync_database_cache(const host_log& log, const kovax::json& config,
                         std::vector<std::string>& directories, const text_expansion& expand,
                         file_operations& operations = system_file_operations());

}  // namespace veltra
