// serial_port.h - an open terminal device with at most one read under way.
// Errors are errno values, 0 for none.
#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "platform/posix/serial_event.h"
#include "platform/posix/serial_line.h"
#include "platform/serial_api.h"

namespace platform::serial {

// Whoever uses a port holds a reference; the descriptor is closed with the last
// one, so that no running call ever meets another file under its number. Any
// thread.
class port : public std::enable_shared_from_this<port> {
 public:
  // Opens the terminal for this process alone, in raw mode. Null with the error
  // in `error` on failure.
  static std::shared_ptr<port> open(const char* path, DWORD& error);

  // Takes over the descriptor.
  explicit port(int descriptor) : descriptor_(descriptor) {}
  port(const port&) = delete;
  port& operator=(const port&) = delete;
  ~port();

  int descriptor() const { return descriptor_; }

  DWORD get_settings(DCB& dcb);
  DWORD set_settings(const DCB& dcb);
  DWORD purge(DWORD flags);
  DWORD get_status(COMSTAT& status) const;

  // Begins a read. ERROR_IO_PENDING if it stays under way; `completion` is set
  // when it is over.
  DWORD start_read(void* buffer, DWORD count, OVERLAPPED& overlapped,
                   std::shared_ptr<event> completion);

  // Moves the read under way on, if there is one, without waiting. `hung_up`:
  // poll(2) says that nothing more will come.
  void continue_read(bool hung_up);

  // ENOENT unless this read, or any read for null, is under way.
  DWORD cancel_read(const OVERLAPPED* overlapped);

  // ERROR_IO_INCOMPLETE while the read is under way.
  DWORD read_result(const OVERLAPPED& overlapped, DWORD& transferred) const;

 private:
  struct pending_read {
    void* buffer;
    DWORD count;
    OVERLAPPED* overlapped;
    std::shared_ptr<event> completion;
  };

  // EAGAIN when there is nothing to read.
  DWORD read_now(void* buffer, DWORD count, DWORD& transferred) const;
  void finish_read(DWORD error, DWORD transferred);

  const int descriptor_;
  mutable std::mutex mutex_;  // guards what follows and every OVERLAPPED; taken before an event's
  std::optional<pending_read> pending_;
  line_memory memory_;
};

}  // namespace platform::serial
