// provenance.h - what a capture says about where it comes from.
//
// In a pcapng file each fact is a comment of the section header, "NAME: TEXT"
// (docs/capture-format.md). Texts are UTF-8.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

struct fact {
  std::string name;
  std::string text;

  bool operator==(const fact&) const = default;
};
using provenance = std::vector<fact>;

// As a comment.
std::string to_comment(const fact& fact);

// Of a recorded trace: its absolute path and its size.
provenance provenance_of_trace(const std::filesystem::path& trace);

// Of the trace database: its file's name, UUID and digest, as far as there are any, in one
// fact. Reads the file.
provenance provenance_of_database(const std::filesystem::path& file, const std::string& uuid);

// The digest of a file's content in hexadecimal digits; empty if it cannot be read.
std::string sha256_of_file(const std::filesystem::path& file);

// What the capture `file` says about itself; empty if it is not a capture that does.
provenance read_provenance(const std::filesystem::path& file);

// True if the capture was made of `trace`: its provenance names the same absolute path, or
// a file of the same name and size.
bool is_capture_of(const provenance& capture, const std::filesystem::path& trace);

}  // namespace veltra::host
