// loss_monitor.h - counts lost frames from gaps in the sequence numbers.
#pragma once

#include <cstdint>
#include <optional>

namespace open_decoder {

// Frames that did not arrive intact.
struct loss {
  std::uint64_t missing = 0;  // never seen at all
  std::uint64_t damaged = 0;  // seen, but not intact
  [[nodiscard]] bool any() const noexcept { return missing != 0 || damaged != 0; }
};

// Follows the one sequence counter of a stream. The counter is 0 for the first
// frame after a start of the sender and goes from 0xFFFFFFFF to 1. Two sequence
// numbers are compared as in RFC 1982: one that is less than half the counter's
// range ahead is newer, and the numbers between were lost; any other one (the same
// again, or one that goes backwards) means that the receiver missed the sender's
// start, and counts as a restart.
//
// A damaged frame is counted at once, and not a second time when the next intact
// frame shows the gap. One thread at a time; nothing throws.
class loss_monitor {
 public:
  // Counts the losses before an intact frame; the first frame only starts the count.
  void intact_frame(std::uint32_t sequence) noexcept;

  // Counts a damaged frame.
  void damaged_frame() noexcept;

  // Counts a frame that arrived and whose trace was lost on its way out.
  void lost_trace() noexcept { ++unreported_.missing; }

  // The losses since the last call of `reported`.
  [[nodiscard]] const loss& unreported() const noexcept { return unreported_; }
  void reported() noexcept { unreported_ = {}; }

  // Forgets the stream and all losses.
  void reset() noexcept { *this = {}; }

 private:
  std::optional<std::uint32_t> last_sequence_;  // of the last intact frame
  std::uint64_t damaged_since_intact_ = 0;
  loss unreported_;
};

}  // namespace open_decoder
