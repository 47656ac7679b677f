#include "host/display/live_monitor.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <string>
#include <system_error>
#include <utility>

namespace veltra::host {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::string_view opening_message = "open port";
constexpr std::string_view searching_message = "Cached data for locating database UID: ";
constexpr std::string_view unread_message = "Received bytes that were not read: ";
// Stands for never: waits until the end of time overflow in some libraries.
constexpr std::chrono::hours longest_wait{24};

std::optional<std::uint64_t> number_after(std::string_view start, std::string_view message) {
  if (!message.starts_with(start)) return std::nullopt;
  message.remove_prefix(start.size());
  std::uint64_t number = 0;
  const auto [end, error] =
      std::from_chars(message.data(), message.data() + message.size(), number);
  if (error != std::errc()) return std::nullopt;
  return number;
}

}  // namespace

std::optional<std::uint64_t> searched_bytes(std::string_view message) {
  return number_after(searching_message, message);
}

std::optional<std::uint64_t> unread_bytes(std::string_view message) {
  return number_after(unread_message, message);
}

live_monitor::live_monitor(live_status_options options, writer write)
    : status_(std::move(options)), write_(std::move(write)) {}

live_monitor::~live_monitor() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
  if (const std::string text = status_.clear() + told_; !text.empty()) write_(text);
}

void live_monitor::take(const packet& packet) {
  const std::lock_guard lock(mutex_);
  status_.take(packet, steady::now());
  wake_in_time();
}

void live_monitor::taken() {
  const std::lock_guard lock(mutex_);
  status_.taken(steady::now());
  wake_in_time();
}

void live_monitor::take_message(std::string_view message) {
  const std::lock_guard lock(mutex_);
  if (message == opening_message) {
    status_.begin(steady::now());
    if (!thread_.joinable()) thread_ = std::thread([this] { show_until_ended(); });
  } else if (const auto bytes = searched_bytes(message)) {
    status_.take_searched(*bytes, steady::now());
    wake_in_time();
  }
}

void live_monitor::tell(std::string_view lines) {
  const std::lock_guard lock(mutex_);
  if (thread_.joinable()) {
    told_ += lines;
    changed_.notify_all();
  } else {
    write_(lines);
  }
}

void live_monitor::show_until_ended() {
  std::unique_lock lock(mutex_);
  while (!ended_) {
    const auto now = steady::now();
    std::string text = told_.empty() ? "" : status_.clear() + std::exchange(told_, {});
    text += status_.show(now);
    if (!text.empty()) {
      // A terminal that has been stopped must not stop the capture.
      lock.unlock();
      write_(text);
      lock.lock();
      continue;  // there may be more by now
    }
    wakes_at_ = std::min(status_.next(), now + longest_wait);
    changed_.wait_until(lock, wakes_at_);
  }
}

// Most of what comes puts the next message off, and is no reason to wake the thread.
void live_monitor::wake_in_time() {
  if (status_.next() < wakes_at_) changed_.notify_all();
}

}  // namespace veltra::host
