// service_reports.h - what the runs of a service report to its manager.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/service_manager.h"

namespace veltra::host {

// Readiness once, when the first run has its input; signs of life as often as the manager
// wants them, as long as every run that has given one goes on doing so; and the end of the
// last run. Any thread.
class service_reports {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  explicit service_reports(std::size_t runs) : runs_(runs) {}

  // Of one of the runs.
  class member {
   public:
    explicit member(service_reports& all) : all_(all) {}
    member(const member&) = delete;
    member& operator=(const member&) = delete;
    ~member() { end(); }

    // A sign of life; `is_open`: the run's input is.
    void tick(bool is_open, time_point now) { all_.tick(this, is_open, now); }

    void end() {
      if (!std::exchange(has_ended_, true)) all_.end(this);
    }

   private:
    service_reports& all_;
    bool has_ended_ = false;
  };

 private:
  void tick(const member* run, bool is_open, time_point now) {
    const std::lock_guard lock(mutex_);
    if (is_open && !std::exchange(is_ready_, true)) platform::notify_service_manager("READY=1");
    is_alive_[run] = true;
    // Twice as often as it is wanted, as sd_watchdog_enabled(3) recommends.
    if (!interval_ || now - last_sign_ < *interval_ / 2) return;
    const bool are_all_alive = std::all_of(is_alive_.begin(), is_alive_.end(),
                                           [](const auto& each) { return each.second; });
    if (!are_all_alive) return;
    last_sign_ = now;
    for (auto& [each, is_alive] : is_alive_) is_alive = false;
    platform::notify_service_manager("WATCHDOG=1");
  }

  void end(const member* run) {
    const std::lock_guard lock(mutex_);
    is_alive_.erase(run);
    if (--runs_ == 0) platform::notify_service_manager("STOPPING=1");
  }

  const std::optional<std::chrono::microseconds> interval_ = platform::watchdog_interval();
  std::mutex mutex_;                        // guards what follows
  std::size_t runs_;                        // that have not ended
  std::map<const member*, bool> is_alive_;  // since the latest sign
  bool is_ready_ = false;
  time_point last_sign_{};
};

}  // namespace veltra::host
