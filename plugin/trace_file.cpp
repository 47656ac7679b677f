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
constexpr std::uint64_t max_step = std::uint64_t{1} << 20;

}  // namespace

void trace_file::open(const std::string& utf8_path, bool is_stream) {
  const std::filesystem::path path = platform::path_from_utf8(utf8_path);
  file_.reset(platform::open_file(path, platform::open_mode::read));
  if (!file_) throw std::runtime_error("trace_file could not be opened at " + utf8_path);
  path_ = utf8_path;
  if (is_stream) return;
  std::error_code error;
  size_ = std::filesystem::file_size(path, error);
  if (error) throw std::filesystem::filesystem_error("file_size", path, error);
}

bool trace_file::read_chunk(std::uint64_t max_bytes, std::string& chunk) {
  std::size_t have = 0;
  while (have < max_bytes && std::feof(file_.get()) == 0) {
    const auto step = static_cast<std::size_t>(std::min(max_bytes - have, max_step));
    chunk.resize(have + step);
    have += platform::read_bytes(file_.get(), chunk.data() + have, step);
    if (std::ferror(file_.get()) != 0) {
      throw std::runtime_error("trace_file could not be read at " + path_);
    }
  }
  chunk.resize(have);
  return std::feof(file_.get()) != 0;
}

}  // namespace veltra
