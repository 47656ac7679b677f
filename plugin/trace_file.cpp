#include "plugin/trace_file.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "platform/file.h"

namespace veltra {

namespace {

// A chunk is made in steps of at most this size: "chunk_size" may be larger than
// the file, and than the memory.
constexpr std::uint64_t largest_step = std::uint64_t{1} << 20;

}  // namespace

void trace_file::open(const std::string& utf8_path) {
  const std::filesystem::path path = platform::path_from_utf8(utf8_path);
  stream_.open(path, std::ios::binary);
  if (!stream_) throw std::runtime_error("trace_file could not be opened at " + utf8_path);
  std::error_code error;
  size_ = std::filesystem::file_size(path, error);
  if (error) throw std::filesystem::filesystem_error("file_size", path, error);
  path_ = utf8_path;
}

bool trace_file::read_chunk(std::uint64_t most, std::string& chunk) {
  std::size_t have = 0;
  while (have < most && !stream_.eof()) {
    const auto step = static_cast<std::size_t>(std::min(most - have, largest_step));
    chunk.resize(have + step);
    stream_.read(chunk.data() + have, static_cast<std::streamsize>(step));
    have += static_cast<std::size_t>(stream_.gcount());
    if (stream_.bad()) throw std::runtime_error("trace_file could not be read at " + path_);
  }
  chunk.resize(have);
  return stream_.eof();
}

}  // namespace veltra
