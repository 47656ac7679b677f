// database_file.h - the bytes of a trace database file, or why they cannot be read.
#pragma once

#include <filesystem>
#include <string>

#include "host/user_error.h"

namespace veltra::host {

// Reads the whole file, which must be a regular one. Throws user_error (bad_input).
std::string read_database_bytes(const std::filesystem::path& path);

}  // namespace veltra::host
