// Signals, and their mask, which other threads inherit.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <semaphore>

#include "platform/console.h"
#include "platform/interrupt.h"

namespace {

TEST(interrupt, a_request_to_end_becomes_a_call) {
  std::binary_semaphore called(0);
  const platform::interrupt_watch watch([&] { called.release(); });
  kill(getpid(), SIGTERM);
  called.acquire();
}

TEST(interrupt, a_terminal_that_goes_away_is_a_request_to_end) {
  std::counting_semaphore<> calls(0);
  const platform::interrupt_watch watch([&] { calls.release(); });
  kill(getpid(), SIGHUP);
  calls.acquire();
}

TEST(interrupt, a_process_that_outlives_its_terminal_is_not_asked_to_end) {
  signal(SIGHUP, SIG_IGN);
  {
    std::counting_semaphore<> calls(0);
    const platform::interrupt_watch watch([&] { calls.release(); });
    kill(getpid(), SIGHUP);
    kill(getpid(), SIGTERM);
    calls.acquire();
    EXPECT_FALSE(calls.try_acquire());
  }
  signal(SIGHUP, SIG_DFL);
}

TEST(console, a_pipe_without_a_reader_fails_the_write_and_no_more) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  const platform::console_setup console;
  EXPECT_EQ(write(ends[1], "x", 1), -1);
  EXPECT_EQ(errno, EPIPE);
  close(ends[1]);
  signal(SIGPIPE, SIG_DFL);
}

TEST(interrupt, what_was_in_force_before_is_restored) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  {
    const platform::interrupt_watch watch([] {});
  }
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR2}) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal));
  }
}

}  // namespace
