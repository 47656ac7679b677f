// Signals, and their mask, which other threads inherit.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <semaphore>

#include "platform/interrupt.h"

namespace {

TEST(interrupt, a_request_to_end_becomes_a_call) {
  std::binary_semaphore called(0);
  const platform::interrupt_watch watch([&] { called.release(); });
  kill(getpid(), SIGTERM);
  called.acquire();
}

TEST(interrupt, what_was_in_force_before_is_restored) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  {
    const platform::interrupt_watch watch([] {});
  }
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (const int signal : {SIGINT, SIGTERM, SIGUSR2}) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal));
  }
}

}  // namespace
