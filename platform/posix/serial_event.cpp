#include "platform/posix/serial_event.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace platform::serial {

waiter& waiter::of_this_thread() {
  thread_local waiter instance;
  return instance;
}

waiter::waiter() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

waiter::~waiter() {
  if (descriptor_ >= 0) close(descriptor_);
}

void waiter::wake() const {
  // Fails only when the counter is full, and then it is awake already.
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = write(descriptor_, &one, sizeof one);
}

void waiter::rest() const {
  // Fails only when nobody woke it.
  std::uint64_t count = 0;
  [[maybe_unused]] const auto taken = read(descriptor_, &count, sizeof count);
}

void event::set() {
  const std::lock_guard lock(mutex_);
  set_ = true;
  wake_all();
}

void event::reset() {
  const std::lock_guard lock(mutex_);
  set_ = false;
}

bool event::is_set() const {
  const std::lock_guard lock(mutex_);
  return set_;
}

void event::enlist(const waiter& sleeper) {
  const std::lock_guard lock(mutex_);
  sleepers_.push_back(&sleeper);
}

void event::dismiss(const waiter& sleeper) {
  const std::lock_guard lock(mutex_);
  std::erase(sleepers_, &sleeper);
}

void event::bind(std::weak_ptr<port> reader) {
  const std::lock_guard lock(mutex_);
  reader_ = std::move(reader);
  wake_all();
}

std::shared_ptr<port> event::reader() const {
  const std::lock_guard lock(mutex_);
  return reader_.lock();
}

void event::wake_all() const {
  for (const auto* sleeper : sleepers_) sleeper->wake();
}

}  // namespace platform::serial
