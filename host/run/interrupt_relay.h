// interrupt_relay.h - one watch for Ctrl-C, for all runs of the process.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace veltra::host {

// Passes requests to end on to every run that has subscribed. Any thread.
class interrupt_relay {
 public:
  // While an object lives, `action` is called once for each request, those before it
  // included. It must not throw. The relay must outlive the object.
  class subscription {
   public:
    subscription(interrupt_relay& relay, std::function<void()> action)
        : relay_(relay), action_(std::move(action)) {
      const std::lock_guard lock(relay_.mutex_);
      relay_.subscriptions_.push_back(this);
      for (std::uint64_t i = 0; i < relay_.requests_; ++i) action_();
    }
    subscription(const subscription&) = delete;
    subscription& operator=(const subscription&) = delete;

    // Waits for an action under way.
    ~subscription() {
      const std::lock_guard lock(relay_.mutex_);
      std::erase(relay_.subscriptions_, this);
    }

   private:
    friend class interrupt_relay;
    interrupt_relay& relay_;
    const std::function<void()> action_;
  };

  void request() {
    const std::lock_guard lock(mutex_);
    ++requests_;
    for (const subscription* each : subscriptions_) each->action_();
  }

 private:
  std::mutex mutex_;  // guards what follows
  std::vector<subscription*> subscriptions_;
  std::uint64_t requests_ = 0;
};

}  // namespace veltra::host
