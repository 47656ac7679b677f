// stream_writer.h - bytes for a program that may stop reading.
#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>

namespace platform {

// Writes to a pipe, a terminal, a device or whatever else standard output is. A reader
// may take its time, for ever if need be, until hurry() says that somebody waits for the
// end. On Windows a write waits for its reader all the same, and hurry() has no effect:
// the writes of an anonymous pipe cannot be waited for there.
//
// One thread at a time, but for hurry().
class stream_writer {
 public:
  static constexpr std::chrono::milliseconds usual_patience{2000};

  // `patience` is what a reader may take for its next read after hurry().
  explicit stream_writer(std::chrono::milliseconds patience = usual_patience);
  stream_writer(const stream_writer&) = delete;
  stream_writer& operator=(const stream_writer&) = delete;
  ~stream_writer();

  // Hands all `bytes` to the system, past the buffer of `to`, which stays the caller's
  // and in the mode that it has. Returns 0, or an errno value: ETIMEDOUT for a reader
  // that was too slow after hurry(). A stream that failed once has lost bytes, and every
  // later write fails for the same reason, at once.
  int write(std::FILE* to, std::string_view bytes);

  // From now on a write fails that has handed on nothing for the length of the patience,
  // one under way included. Any thread.
  void hurry() noexcept;

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace platform
