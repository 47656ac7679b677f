#include "platform/interrupt.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>
#include <thread>
#include <utility>

#include "platform/thread.h"

namespace platform {

struct interrupt_watch::state {
  std::function<void()> action;
  sigset_t watched{};
  sigset_t before{};
  std::thread thread;

  void restore() const { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
};

namespace {

// Ends the waiting thread. Only a directed signal reaches it, so that no other
// use of this signal in the process is disturbed.
constexpr int end_signal = SIGUSR2;

// nohup(1) asks for a process that outlives its terminal.
bool is_ignored(int signal) {
  struct sigaction now {};
  return sigaction(signal, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

}  // namespace

interrupt_watch::interrupt_watch(std::function<void()> action) : state_(std::make_unique<state>()) {
  state_->action = std::move(action);
  sigemptyset(&state_->watched);
  for (const int signal : {SIGINT, SIGTERM, end_signal}) sigaddset(&state_->watched, signal);
  if (!is_ignored(SIGHUP)) sigaddset(&state_->watched, SIGHUP);
  // Threads inherit the mask: the signals stay pending until our thread takes them.
  const int error = pthread_sigmask(SIG_BLOCK, &state_->watched, &state_->before);
  if (error != 0) throw std::system_error(error, std::generic_category(), "pthread_sigmask");
  try {
    state_->thread = start_thread([watch = state_.get()] {
      for (int signal = 0; sigwait(&watch->watched, &signal) == 0 && signal != end_signal;) {
        watch->action();
      }
    });
  } catch (...) {
    state_->restore();
    throw;
  }
}

interrupt_watch::~interrupt_watch() {
  pthread_kill(state_->thread.native_handle(), end_signal);
  state_->thread.join();
  state_->restore();
}

}  // namespace platform
