// output_format.h - what a capture's name says about its content.
#pragma once

#include <filesystem>
#include <string>

namespace veltra::host {

// "pcapng" or "jsonl", by the ending of `file` (".pcapng" or ".jsonl", with ".gz" behind it
// for a compressed one; in upper case, too), otherwise `asked`, which may be empty. Throws
// user_error (usage) for a file with an ending that says neither if nothing was asked for, or
// something else than was asked for. A stream may have any name. An empty name says nothing.
std::string choose_format(const std::filesystem::path& file, const std::string& asked);

// Whether the name asks for compression: its last ending is ".gz".
bool is_gzip_name(const std::filesystem::path& file);

// A file's name divided in front of its ending; ".gz" belongs to the ending before it.
struct divided_name {
  std::string stem;
  std::string ending;  // with its dots; may be empty
};
divided_name divide_name(const std::filesystem::path& file);

}  // namespace veltra::host
