#include "host/run/capture_clock.h"

#include <algorithm>
#include <utility>

namespace veltra::host {

capture_clock::capture_clock(std::vector<clock_anchor> recorded) : recorded_(std::move(recorded)) {}

std::optional<clock_anchor> capture_clock::place(packet& packet, utc_time now,
                                                 std::uint64_t raw_offset) {
  packet.clock_step = 0;
  // Neither raw bytes nor a report of losses has a time of its own: the first frame may be
  // damaged, and its loss is then reported at 0.
  if (is_raw(packet) || dropped_traces(packet)) {
    packet.time_offset = is_anchored_ ? offset_ : first_time(packet, now) - packet.time;
    return std::nullopt;
  }
  const bool is_first = !std::exchange(is_anchored_, true);
  const bool is_step =
      !is_first && newest_modem_ > packet.time && newest_modem_ - packet.time >= min_step;
  if (is_first) {
    newest_ = first_time(packet, now);
  } else if (is_step) {
    packet.clock_step = newest_modem_ - packet.time;
    newest_ = std::max(newest_, time_after_step(packet.time, now));
  }
  if (is_first || is_step) {
    offset_ = newest_ - packet.time;
    newest_modem_ = packet.time;
  }
  packet.time_offset = offset_;
  newest_modem_ = std::max(newest_modem_, packet.time);
  newest_ = std::max(newest_, packet.time + offset_);

  const bool is_new_anchor = base_.source == time_base::kind::host ? is_first || is_step : is_first;
  if (!is_new_anchor || is_recorded() || base_.source == time_base::kind::modem) {
    return std::nullopt;
  }
  return clock_anchor{packet.time + offset_, packet.time, raw_offset};
}

std::optional<clock_anchor> capture_clock::anchor_of_arrival(utc_time now) const {
  if (base_.source == time_base::kind::modem) return std::nullopt;
  return clock_anchor{base_.source == time_base::kind::host ? now : base_.given, std::nullopt, 0};
}

utc_time capture_clock::first_time(const packet& packet, utc_time now) const {
  if (is_recorded()) {
    const clock_anchor& first = recorded_.front();
    const bool is_message = !is_raw(packet) && !dropped_traces(packet);
    return is_message && first.modem_time ? first.utc + (packet.time - *first.modem_time)
                                          : first.utc;
  }
  switch (base_.source) {
    case time_base::kind::host:
      return now;
    case time_base::kind::given:
      return base_.given;
    case time_base::kind::modem:
      break;
  }
  return packet.time;
}

utc_time capture_clock::time_after_step(std::uint64_t modem_time, utc_time now) {
  if (base_.source == time_base::kind::host) return now;
  // A recording's packets come again one by one, so that the anchor's is among them.
  for (std::size_t i = next_recorded_; i < recorded_.size(); ++i) {
    if (recorded_[i].modem_time != modem_time) continue;
    next_recorded_ = i + 1;
    return recorded_[i].utc;
  }
  return newest_;  // how long the clock was away is unknown
}

}  // namespace veltra::host
