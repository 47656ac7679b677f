#include "platform/stream_writer.h"

#include <cerrno>

namespace platform {

struct stream_writer::state {
  int failure = 0;
};

stream_writer::stream_writer(std::chrono::milliseconds) : state_(std::make_unique<state>()) {}

stream_writer::~stream_writer() = default;

int stream_writer::write(std::FILE* to, std::string_view bytes) {
  if (state_->failure != 0) return state_->failure;
  errno = 0;
  if (std::fwrite(bytes.data(), 1, bytes.size(), to) != bytes.size() || std::fflush(to) != 0) {
    state_->failure = errno != 0 ? errno : EIO;
  }
  return state_->failure;
}

void stream_writer::limit_writes() noexcept {}

}  // namespace platform
