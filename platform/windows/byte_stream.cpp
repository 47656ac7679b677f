#include "platform/byte_stream.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/file.h"

namespace platform {

struct byte_reader::state {
  std::FILE* file = nullptr;
  bool is_ours = false;
  std::atomic<bool> is_cancelled = false;

  ~state() {
    if (is_ours) std::fclose(file);
  }
};

byte_reader::byte_reader(const std::filesystem::path& path) : state_(std::make_unique<state>()) {
  if (path.empty()) {
    set_binary_mode(stdin);
    state_->file = stdin;
    return;
  }
  state_->file = open_file(path, open_mode::read);
  if (state_->file == nullptr) throw std::system_error(errno, std::generic_category(), "open");
  state_->is_ours = true;
}

byte_reader::~byte_reader() = default;

std::size_t byte_reader::read(std::span<char> into) {
  if (state_->is_cancelled) return 0;
  const std::size_t count = std::fread(into.data(), 1, into.size(), state_->file);
  if (count == 0 && std::ferror(state_->file) != 0) {
    throw std::system_error(errno, std::generic_category(), "read");
  }
  return count;
}

void byte_reader::cancel() noexcept {
  state_->is_cancelled = true;
}

struct pipe_feed::state {
  std::filesystem::path name;
};

pipe_feed::pipe_feed() {
  throw std::system_error(std::make_error_code(std::errc::function_not_supported), "pipe");
}

pipe_feed::~pipe_feed() = default;

const std::filesystem::path& pipe_feed::name() const {
  return state_->name;
}

bool pipe_feed::write(std::string_view /*bytes*/) {
  return false;
}

void pipe_feed::end() noexcept {}

void pipe_feed::close_reading_end() noexcept {}

}  // namespace platform
