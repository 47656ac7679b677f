// ticker.h - everything in a run that happens in time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/thread.h"

namespace veltra::host {

// Calls a function at an interval, on a thread of its own, from start() to stop().
class ticker {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  // `tick` must not throw.
  ticker(std::chrono::milliseconds interval, std::function<void(time_point)> tick)
      : interval_(interval), tick_(std::move(tick)) {}
  ticker(const ticker&) = delete;
  ticker& operator=(const ticker&) = delete;
  ~ticker() { stop(); }

  void start() {
    thread_ = platform::start_thread([this] { tick_until_stopped(); });
  }

  // Waits for a tick under way.
  void stop() {
    {
      const std::lock_guard lock(mutex_);
      is_stopped_ = true;
      changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
  }

 private:
  void tick_until_stopped() {
    std::unique_lock lock(mutex_);
    while (!changed_.wait_for(lock, interval_, [this] { return is_stopped_; })) {
      lock.unlock();
      tick_(std::chrono::steady_clock::now());
      lock.lock();
    }
  }

  const std::chrono::milliseconds interval_;
  const std::function<void(time_point)> tick_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_stopped_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace veltra::host
