// stream_writer.h - bytes for a program that may stop reading.
#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>

namespace platform {

// Writes to a pipe, a terminal, a device or whatever else standard output is. A write
// waits for its reader, without a limit until limit_writes() sets one. On Windows
// limit_writes() has no effect: a write to an anonymous pipe cannot be given a time-out
// there.
//
// One thread at a time, except for limit_writes().
class stream_writer {
 public:
  static constexpr std::chrono::milliseconds usual_patience{2000};

  // `patience` is what a reader may take for its next read after limit_writes().
  explicit stream_writer(std::chrono::milliseconds patience = usual_patience);
  stream_writer(const stream_writer&) = delete;
  stream_writer& operator=(const stream_writer&) = delete;
  ~stream_writer();

  // Hands all `bytes` to the system, past the buffer of `to`, which stays the caller's
  // and in the mode that it has. Returns 0, or an errno value: ETIMEDOUT for a reader
  // that was too slow after limit_writes(). A stream that failed once has lost bytes, and every
  // later write fails for the same reason, at once.
  int write(std::FILE* to, std::string_view bytes);

  // From now on a write fails that makes no progress for `patience`, one under way
  // included. Any thread.
  void limit_writes() noexcept;

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace platform
