#include "platform/interrupt.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/windows/system.h"

namespace platform {

namespace {

// Requests on their way from the system's thread to the object's own.
class request_queue {
 public:
  void add() {
    const std::lock_guard lock(mutex_);
    ++requests_;
    condition_.notify_all();
  }

  void end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    condition_.notify_all();
  }

  // Waits for a request. False once the queue has ended.
  bool take() {
    std::unique_lock lock(mutex_);
    condition_.wait(lock, [this] { return ended_ || requests_ > 0; });
    --requests_;
    return !ended_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  int requests_ = 0;
  bool ended_ = false;
};

// That of the object which is alive: the handler has no argument of its own.
std::mutex current_mutex;
request_queue* current = nullptr;

void set_current(request_queue* queue) {
  const std::lock_guard lock(current_mutex);
  current = queue;
}

bool pass_on() {
  const std::lock_guard lock(current_mutex);
  if (current == nullptr) return false;
  current->add();
  return true;
}

// Runs on a thread that the system makes for each event.
BOOL WINAPI handle_console_event(DWORD event) {
  if (!pass_on()) return FALSE;
  // After Ctrl-C and Ctrl-Break the process goes on. When the console is closed, the
  // user logs off or the system shuts down, it is ended as soon as this returns, or
  // after some seconds: the program gets that time to end by itself.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

}  // namespace

struct interrupt_watch::state {
  explicit state(std::function<void()> action)
      : thread([this, action = std::move(action)] {
          while (queue.take()) action();
        }) {}
  state(const state&) = delete;
  state& operator=(const state&) = delete;
  ~state() {
    set_current(nullptr);
    queue.end();
    thread.join();
  }

  request_queue queue;
  std::thread thread;  // after what it uses
};

interrupt_watch::interrupt_watch(std::function<void()> action)
    : state_(std::make_unique<state>(std::move(action))) {
  set_current(&state_->queue);
  if (SetConsoleCtrlHandler(handle_console_event, TRUE) == FALSE) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                            "SetConsoleCtrlHandler");
  }
}

interrupt_watch::~interrupt_watch() {
  SetConsoleCtrlHandler(handle_console_event, FALSE);
}

}  // namespace platform
