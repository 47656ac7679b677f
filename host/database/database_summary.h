// database_summary.h - what is in a trace database file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/database/finding.h"

namespace veltra::host {

struct database_summary {
  std::string text;               // some lines for each database: names, ids and counts
  std::string json;               // the same as a JSON object; ends in LF
  std::vector<finding> findings;  // of the check, none of them fatal
};

// Reads and checks the file. Throws user_error (bad_input) if it is not a trace database.
database_summary summarize_database_file(const std::filesystem::path& path);

}  // namespace veltra::host
