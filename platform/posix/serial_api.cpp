#include "platform/serial_api.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "platform/posix/serial_line.h"

namespace platform::serial {

namespace {

thread_local DWORD last_error = 0;

DWORD last_errno() {
  return static_cast<DWORD>(errno);
}

BOOL succeed_or(DWORD error) {
  if (error == 0) return TRUE;
  last_error = error;
  return FALSE;
}

// What a handle points to.
class object {
 public:
  object() = default;
  object(const object&) = delete;
  object& operator=(const object&) = delete;
  virtual ~object() = default;
};

class port;

// A flag to wait for. It gets a descriptor, for poll(2), only when it is waited for by
// itself: one that a read will set is waited for with the port's, so that an event for
// each read costs no system call.
class event : public object {
 public:
  ~event() override {
    if (wake_ >= 0) close(wake_);
  }

  void set() {
    const std::lock_guard lock(mutex_);
    set_ = true;
    if (wake_ >= 0) eventfd_write(wake_, 1);
  }

  void reset() {
    const std::lock_guard lock(mutex_);
    set_ = false;
    eventfd_t count = 0;
    if (wake_ >= 0) eventfd_read(wake_, &count);
  }

  // Readable while the event is set; negative, with errno, if there is none left.
  int descriptor() {
    const std::lock_guard lock(mutex_);
    if (wake_ < 0) wake_ = eventfd(set_ ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
    return wake_;
  }

  // Whose read under way will set this event. Of the reading thread alone.
  port* reader = nullptr;

 private:
  std::mutex mutex_;
  bool set_ = false;
  int wake_ = -1;
};

event* event_of(HANDLE handle) {
  return static_cast<event*>(static_cast<object*>(handle));
}

bool is_hung_up(int descriptor) {
  pollfd watched{descriptor, 0, 0};
  return poll(&watched, 1, 0) > 0 && (watched.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

// The kernel answers EIO for a terminal whose device is gone; say so instead.
DWORD device_error(int descriptor, DWORD error) {
  return error == ENXIO || (error == EIO && is_hung_up(descriptor)) ? ENODEV : error;
}

// An open terminal with at most one read under way, which moves on inside waits.
class port : public object {
 public:
  // Takes over the descriptor.
  explicit port(int descriptor) : descriptor_(descriptor) {}
  ~port() override {
    // The mark outlives the descriptor if another program has the device open.
    ioctl(descriptor_, TIOCNXCL);
    close(descriptor_);
  }

  int descriptor() const { return descriptor_; }

  // What a call gives that ended with `error`.
  BOOL result_of(DWORD error) const { return succeed_or(device_error(descriptor_, error)); }

  DWORD start_read(void* buffer, DWORD count, OVERLAPPED& overlapped) {
    buffer_ = buffer;
    count_ = count;
    overlapped_ = &overlapped;
    overlapped.Internal = ERROR_IO_PENDING;
    event* const completion = event_of(overlapped.hEvent);
    completion->reset();
    completion->reader = this;
    continue_read(false);
    return static_cast<DWORD>(overlapped.Internal);
  }

  // Moves the read under way on, without waiting. `hung_up`: nothing more will come.
  void continue_read(bool hung_up) {
    const auto result = ::read(descriptor_, buffer_, count_);
    if (result > 0) return finish_read(0, static_cast<DWORD>(result));
    const bool nothing_yet = result < 0 && (errno == EAGAIN || errno == EINTR);
    if (nothing_yet && !hung_up) return;
    finish_read(result == 0 || nothing_yet ? ENODEV : device_error(descriptor_, last_errno()), 0);
  }

  DWORD cancel_read(const OVERLAPPED* overlapped) {
    if (overlapped_ != overlapped) return ENOENT;
    finish_read(ECANCELED, 0);
    return 0;
  }

 private:
  void finish_read(DWORD error, DWORD transferred) {
    overlapped_->Internal = error;
    overlapped_->InternalHigh = transferred;
    event* const completion = event_of(overlapped_->hEvent);
    completion->reader = nullptr;
    completion->set();
    overlapped_ = nullptr;
  }

  const int descriptor_;
  void* buffer_ = nullptr;  // these three of the read under way
  DWORD count_ = 0;
  OVERLAPPED* overlapped_ = nullptr;
};

port* port_of(HANDLE handle) {
  return static_cast<port*>(static_cast<object*>(handle));
}

// TIOCEXCL keeps other users out, but not root; the lock keeps out root as well,
// and every program that asks for it.
DWORD claim(int descriptor) {
  if (isatty(descriptor) != 1) return last_errno();
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? EBUSY : last_errno();
  }
  return ioctl(descriptor, TIOCEXCL) == 0 ? 0 : last_errno();
}

bool is_read_under_way(HANDLE completion) {
  return event_of(completion)->reader != nullptr;
}

DWORD wait_failure() {
  last_error = last_errno();
  return WAIT_FAILED;
}

}  // namespace

DWORD GetLastError() {
  return last_error;
}

HANDLE CreateEventA(void* /*security*/, BOOL /*manual_reset*/, BOOL /*initial_state*/,
                    const char* /*name*/) {
  return static_cast<object*>(new event);
}

BOOL SetEvent(HANDLE handle) {
  event_of(handle)->set();
  return TRUE;
}

BOOL ResetEvent(HANDLE handle) {
  event_of(handle)->reset();
  return TRUE;
}

HANDLE CreateFileA(const char* path, DWORD /*access*/, DWORD /*share_mode*/, void* /*security*/,
                   DWORD /*disposition*/, DWORD /*flags*/, HANDLE /*template_file*/) {
  const int descriptor = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  DWORD error = descriptor < 0 ? last_errno() : claim(descriptor);
  if (error == 0) {
    auto opened = std::make_unique<port>(descriptor);
    error = make_line_raw(descriptor);
    if (error == 0) return static_cast<object*>(opened.release());
  } else if (descriptor >= 0) {
    close(descriptor);
  }
  last_error = error;
  return INVALID_HANDLE_VALUE;
}

BOOL GetCommState(HANDLE handle, DCB* settings) {
  const port& opened = *port_of(handle);
  return opened.result_of(read_line_settings(opened.descriptor(), *settings));
}

BOOL SetCommState(HANDLE handle, DCB* settings) {
  const port& opened = *port_of(handle);
  return opened.result_of(write_line_settings(opened.descriptor(), *settings));
}

BOOL PurgeComm(HANDLE handle, DWORD /*flags*/) {
  // tcflush(3)'s argument for both queues, which the C library has in <termios.h> alone.
  constexpr int flush_both = 2;
  const port& opened = *port_of(handle);
  const int result = ioctl(opened.descriptor(), TCFLSH, flush_both);
  return opened.result_of(result == 0 ? 0 : last_errno());
}

BOOL ClearCommError(HANDLE handle, DWORD* /*errors*/, COMSTAT* status) {
  const port& opened = *port_of(handle);
  int received = 0;
  const int result = ioctl(opened.descriptor(), FIONREAD, &received);
  status->cbInQue = static_cast<DWORD>(received);
  return opened.result_of(result == 0 ? 0 : last_errno());
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* transferred,
              OVERLAPPED* overlapped) {
  const DWORD error = port_of(handle)->start_read(buffer, count, *overlapped);
  *transferred = static_cast<DWORD>(overlapped->InternalHigh);
  return succeed_or(error);
}

BOOL GetOverlappedResult(HANDLE /*port*/, OVERLAPPED* overlapped, DWORD* transferred,
                         BOOL /*wait*/) {
  *transferred = static_cast<DWORD>(overlapped->InternalHigh);
  return succeed_or(static_cast<DWORD>(overlapped->Internal));
}

BOOL CancelIoEx(HANDLE handle, OVERLAPPED* overlapped) {
  return succeed_or(port_of(handle)->cancel_read(overlapped));
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL /*wait_all*/,
                             DWORD /*milliseconds*/) {
  const std::span waited(handles, count);
  std::vector<pollfd> watched;
  for (const HANDLE handle : waited) {
    event& each = *event_of(handle);
    const int descriptor = each.reader != nullptr ? each.reader->descriptor() : each.descriptor();
    if (descriptor < 0) return wait_failure();
    watched.push_back({descriptor, POLLIN, 0});
  }
  for (;;) {
    if (poll(watched.data(), watched.size(), -1) < 0) {
      if (errno == EINTR) continue;
      return wait_failure();
    }
    for (DWORD i = 0; i < count; ++i) {
      const auto seen = watched[i].revents;
      if (seen == 0) continue;
      event& each = *event_of(waited[i]);
      if (each.reader != nullptr) {
        each.reader->continue_read((seen & (POLLHUP | POLLERR | POLLNVAL)) != 0);
        if (each.reader != nullptr) continue;
      }
      if (std::any_of(waited.begin(), waited.end(), is_read_under_way)) last_error = ECANCELED;
      return WAIT_OBJECT_0 + i;
    }
  }
}

BOOL CloseHandle(HANDLE handle) {
  delete static_cast<object*>(handle);
  return TRUE;
}

}  // namespace platform::serial
