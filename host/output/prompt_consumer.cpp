#include "host/output/prompt_consumer.h"

#include <utility>

#include "host/user_error.h"

namespace veltra::host {

prompt_consumer::prompt_consumer(std::unique_ptr<packet_consumer> inner,
                                 std::function<void()> on_failure, std::chrono::milliseconds delay)
    : inner_(std::move(inner)), on_failure_(std::move(on_failure)), delay_(delay) {}

prompt_consumer::~prompt_consumer() {
  end();
}

void prompt_consumer::consume(const packet& packet) {
  const std::lock_guard lock(mutex_);
  throw_failure();
  inner_->consume(packet);
  if (!thread_.joinable()) thread_ = std::thread([this] { flush_until_ended(); });
  if (!std::exchange(waiting_, true)) changed_.notify_all();
}

bool prompt_consumer::flush() {
  const std::lock_guard lock(mutex_);
  throw_failure();
  return waiting_ = inner_->flush();
}

void prompt_consumer::finish() {
  end();
  inner_->finish();
}

void prompt_consumer::finish_without_room() {
  end();
  inner_->finish_without_room();
}

void prompt_consumer::flush_until_ended() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ended_ || waiting_; });
    // More packets come into the batch.
    changed_.wait_for(lock, delay_, [this] { return ended_; });
    if (ended_) return;
    try {
      waiting_ = inner_->flush();
    } catch (const user_error&) {
      failure_ = std::current_exception();
      lock.unlock();
      on_failure_();
      return;
    }
  }
}

void prompt_consumer::throw_failure() {
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void prompt_consumer::end() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
}

}  // namespace veltra::host
