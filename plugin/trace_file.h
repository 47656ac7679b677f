// trace_file.h - a recorded trace, read in chunks.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "platform/file.h"

namespace veltra {

// One thread.
class trace_file {
 public:
  // Opens the file for binary reading. Throws std::runtime_error
  // "trace_file could not be opened at " + path, and the file-system error of
  // "file_size" when it has no size, as a directory. A stream, such as a pipe, needs none.
  void open(const std::string& utf8_path, bool is_stream = false);

  // Bytes in the file when it was opened; nothing for a stream.
  std::optional<std::uint64_t> size() const { return size_; }

  // Replaces `chunk` by the next `max_bytes` bytes, fewer at the end of the file.
  // Returns true once a read has met the end. Throws std::runtime_error when
  // the file cannot be read.
  bool read_chunk(std::uint64_t max_bytes, std::string& chunk);

 private:
  std::string path_;
  platform::owned_file file_;
  std::optional<std::uint64_t> size_;
};

}  // namespace veltra
