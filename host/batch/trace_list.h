// trace_list.h - which traces a batch decodes, and what becomes of each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// One of `count` equal parts of a list: the entries at number - 1, number - 1 + count and so on.
struct shard {
  std::size_t number = 1;
  std::size_t count = 1;

  bool operator==(const shard&) const = default;
};

// The part of a text such as "3/8"; nothing for other texts.
std::optional<shard> shard_named(std::string_view text);

struct trace_list_options {
  std::vector<std::string> inputs;    // files and directories
  std::vector<std::string> suffixes;  // of the names in directories that are traces
  std::string output_directory;
  std::string extension;  // of the captures, such as "pcapng"
  shard part;
};

struct listed_trace {
  std::string input;
  std::string output;
  std::uint64_t bytes = 0;  // of the input; 0 if it is not a file

  bool operator==(const listed_trace&) const = default;
};

// The name of the capture of a trace: with `extension`, without the ending of a compressed file and
// the trace's own.
std::filesystem::path capture_name(std::filesystem::path trace, const std::string& extension);

// The endings of traces' names that directories are searched for unless others are given.
const std::vector<std::string>& default_trace_suffixes();

// The traces in the order of the inputs, those below a directory in the order of their paths. A
// trace's capture has its name, with another extension, in the output directory; that of a trace
// below a directory is below the same directories there. Names are UTF-8. Throws user_error: usage
// if two traces would have one capture, bad_input if a directory cannot be read or contains no
// trace.
std::vector<listed_trace> list_traces(const trace_list_options& options);

}  // namespace veltra::host
