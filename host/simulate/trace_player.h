// trace_player.h - a session's traces played as a stream of frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
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

}  // namespace veltra::host
