// database_lint.h - every fault of a trace database file.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "host/database/finding.h"

namespace veltra::host {

struct lint_result {
  std::vector<finding> findings;  // in the order of the file
  std::string uuid;               // of the database read last; empty: none
};

// Checks the whole file, .json or .gz. Throws user_error (bad_input) if it cannot be read or
// has another ending. Any thread.
lint_result lint_database_file(const std::filesystem::path& path);

// A line for each finding, "FILE: fault: MEMBER: /path: text", and one that counts them.
std::string format_findings(const std::string& file, const std::vector<finding>& findings);

// The same as a JSON object: "file", "faults", "warnings" and "findings", an array of
// objects with "severity", "member", "path" and "text".
std::string format_findings_json(const std::string& file, const std::vector<finding>& findings);

// One finding with its place, for a sentence.
std::string describe_finding(const finding& finding);

std::size_t count_faults(const std::vector<finding>& findings);

// "2 faults and 1 warning".
std::string count_findings(const std::vector<finding>& findings);

}  // namespace veltra::host
