// catalogue.h - reading the catalogue of trace databases, config.json.
//
//   { "firmwares": {
//       "updated_timestamp": "2024-05-01 12:00:00",
//       "devices": [ {
//         "type": "modem-a",
//         "versions": [ {
//           "version": "1.0",
//           "uuid": "01234567-89ab-cdef-0123-456789abcdef",
//           "database": { "path": "${root}fw.tar.gz", "sha256": "64 digits" } } ] } ] } }
//
// Members are read when they are needed and not before, so that a mistake in one
// entry leaves those in front of it usable. Whatever is missing counts as null
// and is refused with the JSON library's type error ("type must be ..., but is
// null"). Any thread; nothing is kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <ratio>
#include <string>
#include <string_view>

#include "implementation/json_fwd.h"

namespace veltra {

// A catalogue's time, in units of 100 nanoseconds since 1970-01-01 00:00:00 UTC.
using catalogue_duration = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
using catalogue_time = std::chrono::time_point<std::chrono::system_clock, catalogue_duration>;

// Reads a time in the form "%Y-%m-%d %H:%M:%S" (of std::get_time, in the C
// locale), which is local standard time. A text in another form is not an error:
// what was read of it up to there counts, and the rest is zero.
catalogue_time parse_catalogue_timestamp(const std::string& text);

// When the catalogue was made: its "firmwares"."updated_timestamp".
catalogue_time updated_time(const kovax::json& catalogue);

// Called with a device's "type" and one entry of its "versions".
using version_visitor = std::function<void(const std::string& type, const kovax::json& entry)>;

// Calls `visit` for every version of every device, in the catalogue's order.
void for_each_version(const kovax::json& catalogue, const version_visitor& visit);

// The layout of a cache directory: CACHE/config.json is the catalogue, and
// CACHE/TYPE/VERSION/UUID/NAME a database, where NAME is cache_file_name() of its
// entry. Names are taken from the catalogue unchanged, in UTF-8, and joined
// by the platform's path rules.
std::filesystem::path catalogue_path(const std::filesystem::path& cache_directory);
std::filesystem::path version_directory(const std::filesystem::path& cache_directory,
                                        const std::string& type, const kovax::json& entry);
std::filesystem::path database_directory(const std::filesystem::path& version_directory,
                                         const kovax::json& entry);
std::filesystem::path database_file(const std::filesystem::path& database_directory,
                                    const kovax::json& entry);

}  // namespace veltra
