#include "host/run/rotation.h"

#include <algorithm>

namespace veltra::host {

namespace {

std::int64_t seconds_since_epoch(std::chrono::system_clock::time_point time) {
  return std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count();
}

// Longer than between a chunk and the packets out of it.
constexpr std::chrono::seconds silence{1};

}  // namespace

std::optional<piece> rotation::before(const packet& packet, const rotation_moment& now) {
  latest_packet_ = now.steady;
  std::optional<piece> next;
  if (!is_open_ || (is_raw(packet) && is_over(now))) {
    begin(now);
    next = {number_, seconds_since_epoch(now.wall)};
  }
  if (!is_raw(packet)) {
    ++packets_;
  } else if (counts_raw_bytes_) {
    raw_bytes_ += packet.payload.size();
  }
  return next;
}

bool rotation::ends(const rotation_moment& now) {
  if (!is_open_ || now.steady - latest_packet_ < silence || !is_over(now)) return false;
  is_open_ = false;
  return true;
}

bool rotation::is_over(const rotation_moment& now) const {
  const file_limits& limits = options_.piece;
  if (limits.duration && now.steady - begin_ >= *limits.duration) return true;
  if (limits.bytes && std::max(raw_bytes_, now.capture_bytes) >= *limits.bytes) return true;
  if (limits.packets && packets_ >= *limits.packets) return true;
  return options_.interval && seconds_since_epoch(now.wall) >= next_interval_;
}

void rotation::begin(const rotation_moment& now) {
  is_open_ = true;
  ++number_;
  begin_ = now.steady;
  raw_bytes_ = packets_ = 0;
  if (options_.interval) {
    const std::int64_t interval = *options_.interval;
    next_interval_ = (seconds_since_epoch(now.wall) / interval + 1) * interval;
  }
}

}  // namespace veltra::host
