#include "platform/byte_stream.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace platform {

namespace {

[[noreturn]] void fail_call(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Closed once, by whichever thread comes first.
class descriptor {
 public:
  explicit descriptor(int value = -1) : value_(value) {}
  descriptor(const descriptor&) = delete;
  descriptor& operator=(const descriptor&) = delete;
  ~descriptor() { reset(); }

  int get() const { return value_; }
  void set(int value) { value_ = value; }
  void reset() noexcept {
    const int value = value_.exchange(-1);
    if (value >= 0) close(value);
  }

 private:
  std::atomic<int> value_;
};

void make_pipe(descriptor& reading, descriptor& writing) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) fail_call("pipe2");
  reading.set(ends[0]);
  writing.set(ends[1]);
}

}  // namespace

struct byte_reader::state {
  descriptor opened;
  int source = STDIN_FILENO;
  // Its end is how a wait hears of cancel().
  descriptor cancel_reading;
  descriptor cancel_writing;
};

byte_reader::byte_reader(const std::filesystem::path& path) : state_(std::make_unique<state>()) {
  make_pipe(state_->cancel_reading, state_->cancel_writing);
  if (path.empty()) return;
  state_->source = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (state_->source < 0) fail_call("open");
  state_->opened.set(state_->source);
}

byte_reader::~byte_reader() = default;

std::size_t byte_reader::read(std::span<char> into) {
  for (;;) {
    std::array<pollfd, 2> waits = {pollfd{state_->source, POLLIN, 0},
                                   pollfd{state_->cancel_reading.get(), POLLIN, 0}};
    if (poll(waits.data(), waits.size(), -1) < 0) {
      if (errno == EINTR) continue;
      fail_call("poll");
    }
    if (waits[1].revents != 0) return 0;
    if (waits[0].revents == 0) continue;
    const ssize_t count = ::read(state_->source, into.data(), into.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR && errno != EAGAIN) fail_call("read");
  }
}

void byte_reader::cancel() noexcept {
  state_->cancel_writing.reset();
}

struct pipe_feed::state {
  descriptor reading;
  descriptor writing;
  std::filesystem::path name;
};

pipe_feed::pipe_feed() : state_(std::make_unique<state>()) {
  make_pipe(state_->reading, state_->writing);
  state_->name = "/dev/fd/" + std::to_string(state_->reading.get());
}

pipe_feed::~pipe_feed() = default;

const std::filesystem::path& pipe_feed::name() const {
  return state_->name;
}

bool pipe_feed::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(state_->writing.get(), bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void pipe_feed::end() noexcept {
  state_->writing.reset();
}

void pipe_feed::close_reading_end() noexcept {
  state_->reading.reset();
}

}  // namespace platform
