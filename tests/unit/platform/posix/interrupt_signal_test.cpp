// Signals, and their mask, which other threads inherit.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <semaphore>
#include <system_error>

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

// A thread's stack of a size that no address space has.
class no_more_threads {
 public:
  no_more_threads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t impossible;
    pthread_attr_init(&impossible);
    pthread_attr_setstacksize(&impossible, std::size_t{1} << 62);
    pthread_setattr_default_np(&impossible);
    pthread_attr_destroy(&impossible);
  }
  no_more_threads(const no_more_threads&) = delete;
  no_more_threads& operator=(const no_more_threads&) = delete;
  ~no_more_threads() {
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }

 private:
  pthread_attr_t before_{};
};

TEST(interrupt, a_watch_that_cannot_begin_leaves_everything_in_force) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  {
    const no_more_threads limit;
    EXPECT_THROW(platform::interrupt_watch([] {}), std::system_error);
  }
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR2}) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal));
  }
}

}  // namespace
