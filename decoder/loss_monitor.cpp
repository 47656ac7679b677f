#include "decoder/loss_monitor.h"

namespace open_decoder {
namespace {

// After a start the counter runs from 1 to 0xFFFFFFFF, and then from 1 again.
constexpr std::uint64_t sequence_period = 0xFFFFFFFF;

// A step of this size or more counts as a step back.
constexpr std::uint64_t half_period = std::uint64_t{1} << 31;

// Returns how many frames are missing between two successive ones.
std::uint64_t frames_between(std::uint32_t earlier, std::uint32_t later) noexcept {
  if (later == 0) {
    return 0;
  }
  // Never negative: `earlier` is at most sequence_period.
  const std::uint64_t step = (later + sequence_period - earlier) % sequence_period;
  return step == 0 || step >= half_period ? 0 : step - 1;
}

}  // namespace

void loss_monitor::intact_frame(std::uint32_t sequence) noexcept {
  if (last_sequence_) {
    const std::uint64_t gap = frames_between(*last_sequence_, sequence);
    if (gap > damaged_since_intact_) {
      unreported_.missing += gap - damaged_since_intact_;
    }
  }
  last_sequence_ = sequence;
  damaged_since_intact_ = 0;
}

void loss_monitor::damaged_frame() noexcept {
  ++damaged_since_intact_;
  ++unreported_.damaged;
}

}  // namespace open_decoder
