// trace_player.h - a session's traces played as a stream of frames, at once or along a
// serial line in its time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/simulate/frame_encoder.h"

namespace veltra::host {

// One trace and when it is sent.
struct timed_trace {
  std::uint64_t time_ns = 0;  // since the session's start
  std::string bytes;          // as a frame carries it
};

// What one play of a session consists of.
struct trace_sequence {
  std::vector<timed_trace> traces;
  std::uint64_t period_ns = 1;  // from the start of one play to that of the next, at least 1
};

// Hands out a sequence's traces as frames, one at a time, so that its user
// decides where they go and when, and memory does not grow with the repetitions.
// Sequence numbers and timestamps run on from one repetition to the next.
// One thread at a time.
class trace_player {
 public:
  // `sequence` must outlive the player. `repetitions` must not exceed
  // max_repetitions() (a broken contract).
  trace_player(const trace_sequence& sequence, std::uint64_t repetitions);

  // How often a sequence can be played before timestamps exceed 64 bits.
  static std::uint64_t max_repetitions(const trace_sequence& sequence) noexcept;

  // True when all repetitions have been played.
  bool at_end() const noexcept { return repetition_ == repetitions_; }

  // When the next frame is due, in nanoseconds since the start; it is also the
  // frame's timestamp. Not at the end.
  std::uint64_t next_time_ns() const noexcept;

  // Appends the next frame to `out` and goes on to the one after it. Not at the end.
  void append_next(std::string& out);

 private:
  const trace_sequence& sequence_;
  std::uint64_t repetitions_;
  std::uint64_t repetition_ = 0;
  std::size_t index_ = 0;  // of the next trace
  frame_encoder encoder_;
};

enum class play_speed {
  line,     // one byte after the other, as fast as the line can
  session,  // each trace at its own time, never faster than the line
  fastest,  // as fast as the reader takes it
};

struct play_pace {
  play_speed speed = play_speed::line;
  std::uint32_t baud_rate = 1'000'000;  // bits per second, at least 1
};

// Why playing or a step of it ended.
enum class play_end { complete, interrupted, reader_gone };

// The modem's end of the line, with its clock.
class modem_line {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  modem_line() = default;
  modem_line(const modem_line&) = delete;
  modem_line& operator=(const modem_line&) = delete;
  virtual ~modem_line() = default;

  virtual time_point now() = 0;

  // Sends all of `bytes`, waiting while the reader does not keep up.
  virtual play_end write(std::string_view bytes) = 0;

  virtual play_end sleep_until(time_point when) = 0;
};

struct play_result {
  play_end end = play_end::complete;
  std::uint64_t bytes = 0;  // sent
};

// Plays what `player` has left. A byte takes 10 bits (a start bit, 8 data bits, a
// stop bit) and is sent when its last bit would have arrived. The times are counted
// from the start, so that one delay makes nothing after it late. Throws what `line`
// throws.
play_result play(trace_player& player, const play_pace& pace, modem_line& line);

}  // namespace veltra::host
