#include "platform/stream_writer.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <optional>

namespace platform {

namespace {

// Standard output often is one, and needs no care.
bool is_regular_file(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

struct stream_writer::state {
  using clock = std::chrono::steady_clock;

  int wait_for_room(int descriptor);
  int write(int descriptor, std::string_view bytes);

  std::chrono::milliseconds patience;
  // Readable once writes are limited. Negative if the system has no descriptor left: the
  // limit then does not reach a write under way.
  int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  std::atomic<bool> limited = false;
  int failure = 0;
};

// Returns 0 when a write will not wait: it can take bytes, or says what is wrong.
int stream_writer::state::wait_for_room(int descriptor) {
  for (std::optional<clock::time_point> deadline;;) {
    if (limited && !deadline) deadline = clock::now() + patience;
    int timeout = -1;
    if (deadline) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - clock::now());
      timeout = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
    }
    pollfd watched[] = {{descriptor, POLLOUT, 0}, {deadline ? -1 : wake, POLLIN, 0}};
    const int ready = poll(watched, std::size(watched), timeout);
    if (ready < 0 && errno != EINTR) return errno;
    if (ready > 0 && watched[0].revents != 0) return 0;
    if (ready == 0 && deadline) return ETIMEDOUT;
  }
}

int stream_writer::state::write(int descriptor, std::string_view bytes) {
  const bool has_reader = !is_regular_file(descriptor);
  while (!bytes.empty()) {
    if (const int error = has_reader ? wait_for_room(descriptor) : 0) return error;
    // A pipe with room for anything has room for this much, see pipe(7), and the write
    // does not wait. O_NONBLOCK would do the same, and also for all other programs that share
    // standard output.
    const std::size_t piece =
        has_reader ? std::min<std::size_t>(bytes.size(), PIPE_BUF) : bytes.size();
    const ssize_t count = ::write(descriptor, bytes.data(), piece);
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR && errno != EAGAIN) {
      return errno;
    }
  }
  return 0;
}

stream_writer::stream_writer(std::chrono::milliseconds patience)
    : state_(std::make_unique<state>()) {
  state_->patience = patience;
}

stream_writer::~stream_writer() {
  if (state_->wake >= 0) close(state_->wake);
}

int stream_writer::write(std::FILE* to, std::string_view bytes) {
  if (state_->failure == 0) state_->failure = state_->write(fileno(to), bytes);
  return state_->failure;
}

void stream_writer::limit_writes() noexcept {
  state_->limited = true;
  // Fails only when the counter is full, and then the descriptor is readable already.
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(state_->wake, &one, sizeof one);
}

}  // namespace platform
