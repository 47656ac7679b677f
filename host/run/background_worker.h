// background_worker.h - work that a run does not wait for.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace veltra::host {

// Does jobs one after the other on a thread of its own, which begins with the first one:
// threads that are there before a platform::interrupt_watch would take its signals. Any
// thread may add a job.
class background_worker {
 public:
  background_worker() = default;
  background_worker(const background_worker&) = delete;
  background_worker& operator=(const background_worker&) = delete;
  ~background_worker() { finish(); }

  // `job` must not throw.
  void add(std::function<void()> job) {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
    if (!thread_.joinable()) thread_ = std::thread([this] { work(); });
    changed_.notify_one();
  }

  // Waits until all jobs are done; none may be added afterwards. One thread.
  void finish() {
    {
      const std::lock_guard lock(mutex_);
      is_finished_ = true;
      changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
  }

 private:
  void work() {
    std::unique_lock lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return is_finished_ || !jobs_.empty(); });
      if (jobs_.empty()) return;
      const std::function<void()> job = std::move(jobs_.front());
      jobs_.pop_front();
      lock.unlock();
      job();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;
  bool is_finished_ = false;
  std::thread thread_;
};

}  // namespace veltra::host
