#include "platform/interrupt.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>
#include <thread>
#include <utility>

namespace platform {

struct interrupt_watch::state {
  std::function<void()> action;
  sigset_t watched{};
  sigset_t before{};
  struct sigaction broken_pipe_before {};
  std::thread thread;
};

namespace {

// Ends the waiting thread. Only a directed signal reaches it, so that no other
// use of this signal in the process is disturbed.
constexpr int end_signal = SIGUSR2;

}  // namespace

interrupt_watch::interrupt_watch(std::function<void()> action) : state_(std::make_unique<state>()) {
  state_->action = std::move(action);
  sigemptyset(&state_->watched);
  for (const int signal : {SIGINT, SIGTERM, end_signal}) sigaddset(&state_->watched, signal);
  // Threads inherit the mask: the signals stay pending until our thread takes them.
  const int error = pthread_sigmask(SIG_BLOCK, &state_->watched, &state_->before);
  if (error != 0) throw std::system_error(error, std::generic_category(), "pthread_sigmask");
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &state_->broken_pipe_before);
  state_->thread = std::thread([watch = state_.get()] {
    for (int signal = 0; sigwait(&watch->watched, &signal) == 0 && signal != end_signal;) {
      watch->action();
    }
  });
}

interrupt_watch::~interrupt_watch() {
  pthread_kill(state_->thread.native_handle(), end_signal);
  state_->thread.join();
  sigaction(SIGPIPE, &state_->broken_pipe_before, nullptr);
  pthread_sigmask(SIG_SETMASK, &state_->before, nullptr);
}

}  // namespace platform
