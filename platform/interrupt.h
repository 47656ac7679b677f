// interrupt.h - Ctrl-C and a request to end, turned into an ordinary call.
#pragma once

#include <functional>
#include <memory>

namespace platform {

// While an object lives, Ctrl-C and the system's request to end the process
// (SIGINT, SIGTERM, SIGHUP unless it is ignored; console events on Windows) call
// `action` on a thread of the object's own, where any function may be called,
// instead of ending the process. `action` runs once for each request and must not throw. Create the
// object before other threads are started, and only one at a time.
class interrupt_watch {
 public:
  // Throws std::system_error, with everything in force as before, if the system
  // refuses the thread.
  explicit interrupt_watch(std::function<void()> action);
  interrupt_watch(const interrupt_watch&) = delete;
  interrupt_watch& operator=(const interrupt_watch&) = delete;

  // Waits for an action under way, then restores what was in force before.
  ~interrupt_watch();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace platform
