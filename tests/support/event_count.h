// event_count.h - events that one thread waits for and another reports.
#pragma once

#include <condition_variable>
#include <mutex>

namespace test_support {

// Counts events until they are taken. In place of std::counting_semaphore, whose
// acquire() can miss a release() and wait forever in GCC 12's library where that
// has no futex to build on (MinGW). Any thread.
class event_count {
 public:
  void add() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_one();
  }

  // Waits for an event.
  void take() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return count_ > 0; });
    --count_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

}  // namespace test_support
