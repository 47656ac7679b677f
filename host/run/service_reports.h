// service_reports.h - what a run reports when it is a service.
#pragma once

#include <chrono>
#include <optional>
#include <utility>

#include "platform/service_manager.h"

namespace veltra::host {

// Readiness once, and signs of life as often as the manager wants them. One thread.
class service_reports {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  // `is_open`: the input is.
  void tick(bool is_open, time_point now) {
    if (is_open && !std::exchange(is_ready_, true)) platform::notify_service_manager("READY=1");
    // Twice as often as it is wanted, as sd_watchdog_enabled(3) recommends.
    if (!interval_ || now - last_sign_ < *interval_ / 2) return;
    last_sign_ = now;
    platform::notify_service_manager("WATCHDOG=1");
  }

  void end() { platform::notify_service_manager("STOPPING=1"); }

 private:
  const std::optional<std::chrono::microseconds> interval_ = platform::watchdog_interval();
  bool is_ready_ = false;
  time_point last_sign_{};
};

}  // namespace veltra::host
