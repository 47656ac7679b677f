// capture_clock.h - the times in a capture, from those of the modem's clock.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/run/utc_time.h"
#include "host/source/packet.h"

namespace veltra::host {

// Where the times of a capture come from.
struct time_base {
  enum class kind {
    modem,  // the modem's clock as it is
    host,   // the modem's clock, set to the host's at the first packet and after a restart
    given   // likewise, set to a given time at the first packet
  };
  kind source = kind::modem;
  utc_time given = 0;
};

// A point in time on both clocks.
struct clock_anchor {
  utc_time utc = 0;
  std::optional<std::uint64_t> modem_time;  // nanoseconds; none: that of the first packet
  std::uint64_t raw_offset = 0;             // bytes of the trace that had come by then

  bool operator==(const clock_anchor&) const = default;
};

// Places packets in time. Times do not run backwards when the modem's clock does, because
// the modem restarted or because the trace is several joined ones. One thread.
class capture_clock {
 public:
  // A clock that went back by less was not set back: traces of several cores are not in
  // the exact order of their times.
  static constexpr std::uint64_t min_step = 100'000'000;  // nanoseconds

  explicit capture_clock(time_base base) : base_(base) {}

  // Repeats what another clock did, which had these anchors.
  explicit capture_clock(std::vector<clock_anchor> recorded);

  // Sets the packet's time_offset and clock_step. `now` is the host's time, `raw_offset`
  // counts the bytes of the trace that have come so far. Returns the anchor if there is a
  // new one that a recording must keep.
  std::optional<clock_anchor> place(packet& packet, utc_time now, std::uint64_t raw_offset);

  // The anchor of a trace whose first bytes come `now` and are not decoded.
  std::optional<clock_anchor> anchor_of_arrival(utc_time now) const;

 private:
  bool is_recorded() const { return !recorded_.empty(); }
  utc_time first_time(const packet& packet, utc_time now) const;
  utc_time time_after_step(std::uint64_t modem_time, utc_time now);

  const time_base base_{};
  const std::vector<clock_anchor> recorded_;
  std::size_t next_recorded_ = 1;
  bool is_anchored_ = false;
  std::uint64_t offset_ = 0;        // from the modem's clock, modulo 2^64
  std::uint64_t newest_modem_ = 0;  // of the modem's clock since its last step
  utc_time newest_ = 0;
};

}  // namespace veltra::host
