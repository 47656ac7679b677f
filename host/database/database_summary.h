// database_summary.h - what is in a trace database file.
#pragma once

#include <filesystem>
#include <string>

namespace veltra::host {

// Reads the file and returns some lines for each database in it: names, ids and
// counts. Every line ends in LF. Throws user_error (bad_input) if it is not a trace
// database.
std::string summarize_database_file(const std::filesystem::path& path);

}  // namespace veltra::host
