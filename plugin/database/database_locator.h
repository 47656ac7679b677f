// database_locator.h - finding the database of a UUID in the cache.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/database/host_log.h"

namespace veltra {

// Returns the first directory named `uuid`, byte for byte, in one of the version
// directories (UTF-8), which are searched in their order and each in the order
// in which the file system lists it.
//
// Logs each directory that is tried. Throws std::runtime_error "unable to
// locate db directory" if there is none; std::filesystem::filesystem_error if a
// directory cannot be listed, or naming "directory_entry::status" if the kind of
// an entry cannot be read.
std::filesystem::path locate_database_directory(const std::vector<std::string>& directories,
                                                std::string_view uuid, const host_log& log);

// Returns the database file in `directory`: the first regular file, in the order
// in which the file system lists it, with the extension ".json" or ".gz" in lower
// case. Throws std::runtime_error "unable to locate db file" if there is none, and
// file-system errors as above.
std::filesystem::path find_database_file(const std::filesystem::path& directory);

}  // namespace veltra
