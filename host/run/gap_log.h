// gap_log.h - when a run had no input.
#pragma once

#include <fmt/format.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace veltra::host {

// Counts the times between a loss of the input and the next packet. Not synchronised.
class gap_log {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  void lose(time_point now) {
    if (!lost_at_) lost_at_ = now;
  }

  // The next packet is here: a remark on the gap before it; empty if there is none.
  std::string take(const std::string& input, time_point now) {
    if (!lost_at_) return {};
    const std::chrono::duration<double> lasted = now - *std::exchange(lost_at_, std::nullopt);
    ++count_;
    time_ += lasted;
    return fmt::format(
        "{} was lost for {:.1f} s before this packet: what the modem sent meanwhile "
        "is missing",
        input, lasted.count());
  }

  std::uint64_t count() const { return count_; }

  // For a summary; empty if there was no gap.
  std::string describe() const {
    if (count_ == 0) return {};
    return fmt::format("{} gap{} of {:.1f} s in all: the port was lost", count_,
                       count_ == 1 ? "" : "s", time_.count());
  }

 private:
  std::optional<time_point> lost_at_;
  std::uint64_t count_ = 0;
  std::chrono::duration<double> time_{};
};

}  // namespace veltra::host
