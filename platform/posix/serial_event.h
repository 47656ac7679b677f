// serial_event.h - events, and how a thread waits for them and for descriptors
// at once.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

namespace platform::serial {

class port;

// What one thread sleeps on: an eventfd(2), so that poll(2) can watch it beside
// the descriptors of ports. Events own no descriptor, which makes an event for
// each read cheap.
class waiter {
 public:
  // The calling thread's own; lives as long as the thread. Its descriptor is
  // negative, with the reason in errno, if the system has none left.
  static waiter& of_this_thread();

  waiter(const waiter&) = delete;
  waiter& operator=(const waiter&) = delete;

  int descriptor() const { return descriptor_; }

  // Makes the descriptor readable. Any thread.
  void wake() const;

  // Makes it unreadable again.
  void rest() const;

 private:
  waiter();
  ~waiter();

  int descriptor_;
};

// A flag to wait for, set and reset by hand. Any thread.
class event {
 public:
  void set();
  void reset();
  bool is_set() const;

  // A waiter that is enlisted wakes when the event is set, and when a read that
  // will set it has begun. It must be dismissed before it dies.
  void enlist(const waiter& sleeper);
  void dismiss(const waiter& sleeper);

  // The port whose read will set this event: only a thread that waits for the
  // event moves that read on. Null when there is none.
  void bind(std::weak_ptr<port> reader);
  std::shared_ptr<port> reader() const;

 private:
  void wake_all() const;

  mutable std::mutex mutex_;
  bool set_ = false;
  std::vector<const waiter*> sleepers_;
  std::weak_ptr<port> reader_;
};

}  // namespace platform::serial
