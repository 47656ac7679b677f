#include "platform/posix/serial_wait.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/posix/serial_handles.h"
#include "platform/posix/serial_port.h"

namespace platform::serial {

namespace {

using event_list = std::span<const std::shared_ptr<event>>;

// Keeps a waiter enlisted with all events while it lives.
class enlistment {
 public:
  enlistment(event_list events, const waiter& sleeper) : events_(events), sleeper_(sleeper) {
    for (const auto& awaited : events_) awaited->enlist(sleeper_);
  }
  enlistment(const enlistment&) = delete;
  enlistment& operator=(const enlistment&) = delete;
  ~enlistment() {
    for (const auto& awaited : events_) awaited->dismiss(sleeper_);
  }

 private:
  event_list events_;
  const waiter& sleeper_;
};

// What poll(2) watches: the waiter first, then the ports that read for an event.
// They are held so that no descriptor closes while it is watched.
class watch_list {
 public:
  watch_list(event_list events, const waiter& sleeper) {
    watched_[0] = {sleeper.descriptor(), POLLIN, 0};
    for (const auto& awaited : events) {
      auto reader = awaited->reader();
      if (!reader) continue;
      watched_[size_] = {reader->descriptor(), POLLIN, 0};
      ports_[size_++] = std::move(reader);
    }
  }

  int wait() { return poll(watched_.data(), size_, -1); }

  bool woken() const { return watched_[0].revents != 0; }

  void continue_reads() {
    for (std::size_t i = 1; i < size_; ++i) {
      const auto seen = watched_[i].revents;
      if (seen != 0) ports_[i]->continue_read((seen & (POLLHUP | POLLERR | POLLNVAL)) != 0);
    }
  }

 private:
  std::array<pollfd, max_awaited_events + 1> watched_;
  std::array<std::shared_ptr<port>, max_awaited_events + 1> ports_;
  std::size_t size_ = 1;
};

DWORD failed(int error) {
  set_last_error(static_cast<DWORD>(error));
  return WAIT_FAILED;
}

DWORD first_set(event_list events) {
  const auto found =
      std::find_if(events.begin(), events.end(), [](const auto& each) { return each->is_set(); });
  return static_cast<DWORD>(found - events.begin());
}

}  // namespace

DWORD wait_for_any(event_list events) {
  const auto& sleeper = waiter::of_this_thread();
  if (sleeper.descriptor() < 0) return failed(EMFILE);

  // Enlisted before the first look, so that no event is set unseen in between.
  const enlistment enlisted(events, sleeper);
  for (;;) {
    const DWORD index = first_set(events);
    if (index < events.size()) {
      const bool gave_up_a_read = std::any_of(
          events.begin(), events.end(), [](const auto& each) { return each->reader() != nullptr; });
      if (gave_up_a_read) set_last_error(ECANCELED);
      return WAIT_OBJECT_0 + index;
    }

    watch_list watched(events, sleeper);
    const int ready = watched.wait();
    if (ready < 0 && errno != EINTR) return failed(errno);
    if (ready > 0 && watched.woken()) sleeper.rest();
    if (ready > 0) watched.continue_reads();
  }
}

}  // namespace platform::serial
