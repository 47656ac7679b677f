#include "platform/posix/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::serial {

namespace {

// tcflush(3)'s ioctl and its arguments as the kernel knows them; the C library
// has them only in <termios.h>.
constexpr int flush_input = 0;
constexpr int flush_output = 1;
constexpr int flush_both = 2;

DWORD last_errno() {
  return static_cast<DWORD>(errno);
}

bool is_hung_up(int descriptor) {
  pollfd watched{descriptor, 0, 0};
  return poll(&watched, 1, 0) > 0 && (watched.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

// The kernel answers EIO for a terminal whose device is gone; say so instead.
DWORD device_error(int descriptor) {
  const DWORD error = last_errno();
  if (error == ENXIO || (error == EIO && is_hung_up(descriptor))) return ENODEV;
  return error;
}

// TIOCEXCL keeps other users out, but not root; the lock keeps out root as well,
// and every program that asks for it.
DWORD claim(int descriptor) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? EBUSY : last_errno();
  }
  return ioctl(descriptor, TIOCEXCL) == 0 ? 0 : last_errno();
}

}  // namespace

std::shared_ptr<port> port::open(const char* path, DWORD& error) {
  const int descriptor = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) {
    error = last_errno();
    return nullptr;
  }
  error = isatty(descriptor) == 1 ? claim(descriptor) : last_errno();
  if (error != 0) {
    close(descriptor);
    return nullptr;
  }
  auto opened = std::make_shared<port>(descriptor);
  error = make_line_raw(descriptor);
  return error == 0 ? opened : nullptr;
}

port::~port() {
  // The mark outlives the descriptor if another program has the device open.
  ioctl(descriptor_, TIOCNXCL);
  close(descriptor_);
}

DWORD port::get_settings(DCB& dcb) {
  const std::lock_guard lock(mutex_);
  const DWORD error = read_line_settings(descriptor_, memory_, dcb);
  return error == EIO ? device_error(descriptor_) : error;
}

DWORD port::set_settings(const DCB& dcb) {
  const std::lock_guard lock(mutex_);
  const DWORD error = write_line_settings(descriptor_, memory_, dcb);
  return error == EIO ? device_error(descriptor_) : error;
}

DWORD port::purge(DWORD flags) {
  if ((flags & PURGE_RXABORT) != 0) cancel_read(nullptr);
  const bool input = (flags & PURGE_RXCLEAR) != 0;
  const bool output = (flags & PURGE_TXCLEAR) != 0;
  if (!input && !output) return 0;
  const int queue = input && output ? flush_both : input ? flush_input : flush_output;
  return ioctl(descriptor_, TCFLSH, queue) == 0 ? 0 : device_error(descriptor_);
}

DWORD port::get_status(COMSTAT& status) const {
  int received = 0;
  if (ioctl(descriptor_, FIONREAD, &received) != 0) return device_error(descriptor_);
  status.cbInQue = static_cast<DWORD>(received);
  return 0;
}

DWORD port::read_now(void* buffer, DWORD count, DWORD& transferred) const {
  for (;;) {
    const auto result = ::read(descriptor_, buffer, count);
    if (result > 0) {
      transferred = static_cast<DWORD>(result);
      return 0;
    }
    if (result == 0) return count == 0 ? 0 : ENODEV;
    if (errno != EINTR) return errno == EAGAIN ? EAGAIN : device_error(descriptor_);
  }
}

DWORD port::start_read(void* buffer, DWORD count, OVERLAPPED& overlapped,
                       std::shared_ptr<event> completion) {
  const std::lock_guard lock(mutex_);
  if (pending_) return EBUSY;
  completion->reset();
  overlapped.Internal = ERROR_IO_PENDING;
  overlapped.InternalHigh = 0;
  DWORD transferred = 0;
  const DWORD error = read_now(buffer, count, transferred);
  pending_ = {buffer, count, &overlapped, std::move(completion)};
  if (error == EAGAIN) {
    pending_->completion->bind(weak_from_this());
    return ERROR_IO_PENDING;
  }
  finish_read(error, transferred);
  return error;
}

void port::continue_read(bool hung_up) {
  const std::lock_guard lock(mutex_);
  if (!pending_) return;
  DWORD transferred = 0;
  const DWORD error = read_now(pending_->buffer, pending_->count, transferred);
  if (error != EAGAIN) {
    finish_read(error, transferred);
  } else if (hung_up) {
    finish_read(ENODEV, 0);
  }
}

DWORD port::cancel_read(const OVERLAPPED* overlapped) {
  const std::lock_guard lock(mutex_);
  if (!pending_ || (overlapped != nullptr && pending_->overlapped != overlapped)) return ENOENT;
  finish_read(ECANCELED, 0);
  return 0;
}

DWORD port::read_result(const OVERLAPPED& overlapped, DWORD& transferred) const {
  const std::lock_guard lock(mutex_);
  if (overlapped.Internal == ERROR_IO_PENDING) return ERROR_IO_INCOMPLETE;
  transferred = static_cast<DWORD>(overlapped.InternalHigh);
  return static_cast<DWORD>(overlapped.Internal);
}

void port::finish_read(DWORD error, DWORD transferred) {
  pending_->overlapped->InternalHigh = transferred;
  pending_->overlapped->Internal = error;
  pending_->completion->bind({});
  pending_->completion->set();
  pending_.reset();
}

}  // namespace platform::serial
