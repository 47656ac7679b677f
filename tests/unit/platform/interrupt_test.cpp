#include "platform/interrupt.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <semaphore>

namespace {

using platform::interrupt_watch;

TEST(interrupt, ctrl_c_and_a_request_to_end_become_calls) {
  std::counting_semaphore<> calls(0);
  const interrupt_watch watch([&] { calls.release(); });
  kill(getpid(), SIGINT);
  calls.acquire();
  kill(getpid(), SIGTERM);
  calls.acquire();
}

TEST(interrupt, what_was_in_force_before_is_restored) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  {
    const interrupt_watch watch([] {});
  }
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (const int signal : {SIGINT, SIGTERM, SIGUSR2}) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal));
  }
}

}  // namespace
