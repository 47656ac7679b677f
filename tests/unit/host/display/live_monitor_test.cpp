#include "host/display/live_monitor.h"

#include <gmock/gmock.h>

#include <future>
#include <mutex>
#include <optional>
#include <string>

#include "tests/unit/host/display/packets.h"

namespace {

using namespace std::chrono_literals;
using live_test::raw_packet;
using testing::HasSubstr;
using testing::StartsWith;
using veltra::host::live_monitor;
using veltra::host::searched_bytes;
using veltra::host::unread_bytes;

// A terminal that remembers and can be waited for.
class terminal {
 public:
  live_monitor::writer writer() {
    return [this](std::string_view text) {
      const std::lock_guard lock(mutex_);
      shown_ += text;
      changed_.notify_all();
    };
  }
  void wait_for(const std::string& text) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return shown_.find(text) != std::string::npos; });
    shown_.clear();
  }
  std::string shown() {
    const std::lock_guard lock(mutex_);
    return shown_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string shown_;
};

TEST(live_monitor, tells_of_silence_while_nothing_calls_it) {
  terminal screen;
  live_monitor monitor({.port = "tty", .with_counters = false, .silence = 1ms}, screen.writer());
  monitor.take_message("open port");
  screen.wait_for("nothing has arrived on tty");
}

TEST(live_monitor, tells_again_after_data) {
  terminal screen;
  live_monitor monitor({.port = "tty", .with_counters = false, .silence = 1ms}, screen.writer());
  monitor.take_message("open port");
  screen.wait_for("nothing has arrived");
  monitor.take(raw_packet("x"));
  monitor.taken();
  screen.wait_for("nothing more has arrived");
  monitor.take_message("Cached data for locating database UID: 17");
  screen.wait_for("nothing more has arrived");
}

TEST(live_monitor, tells_of_an_output_that_takes_nothing_after_silence) {
  terminal screen;
  live_monitor monitor({.port = "tty", .with_counters = false, .silence = 1ms}, screen.writer());
  monitor.take_message("open port");
  for (int i = 0; i < 2; ++i) {
    screen.wait_for(i == 0 ? "nothing has arrived" : "nothing more has arrived");
    monitor.take(raw_packet("x"));
    screen.wait_for("the output has taken nothing");
    monitor.taken();
  }
}

TEST(live_monitor, redraws_the_line_while_nothing_comes) {
  terminal screen;
  live_monitor monitor({.port = "tty", .silence = 1h}, screen.writer());
  monitor.take_message("open port");
  screen.wait_for("  0 B  ");
  screen.wait_for("  0 B  ");
}

TEST(live_monitor, lines_that_are_to_stay_stand_above_the_counters) {
  terminal screen;
  live_monitor monitor({.port = "tty", .silence = 1h}, screen.writer());
  monitor.take_message("open port");
  screen.wait_for("ip 0");
  monitor.tell("a note\n");
  screen.wait_for("\r\x1b[Ka note\n\x1b[?7l\r\x1b[K");
}

TEST(live_monitor, lines_are_shown_at_once_before_the_port_is_opened_and_in_the_end) {
  terminal screen;
  {
    live_monitor monitor({.port = "tty", .with_counters = false, .silence = 1h}, screen.writer());
    monitor.tell("first\n");
    EXPECT_EQ(screen.shown(), "first\n");
    monitor.take_message("open port");
    monitor.tell("second\n");
  }
  EXPECT_EQ(screen.shown(), "first\nsecond\n");
}

TEST(live_monitor, its_end_takes_the_line_off_the_terminal_and_waits_for_nothing) {
  terminal screen;
  {
    live_monitor monitor({.port = "tty", .silence = 1h}, screen.writer());
    monitor.take_message("open port");
    screen.wait_for("ip 0");
  }
  EXPECT_THAT(screen.shown(), testing::EndsWith("\r\x1b[K"));
}

TEST(live_monitor, shows_nothing_when_the_port_was_never_opened) {
  terminal screen;
  {
    live_monitor monitor({.port = "tty", .silence = 0ms}, screen.writer());
    monitor.take_message("Using serial port tty for tracing");
  }
  EXPECT_EQ(screen.shown(), "");
}

TEST(live_monitor, a_terminal_that_hangs_does_not_hold_the_run_up) {
  std::promise<void> hanging;
  std::promise<void> released;
  bool first = true;
  {
    live_monitor monitor({.port = "tty", .with_counters = false, .silence = 0ms},
                         [&](std::string_view) {
                           if (!std::exchange(first, false)) return;
                           hanging.set_value();
                           released.get_future().wait();
                         });
    monitor.take_message("open port");
    hanging.get_future().wait();
    monitor.take(raw_packet("x"));  // returns while the terminal hangs
    released.set_value();
  }
}

TEST(unread_bytes, are_read_from_the_plug_ins_message) {
  EXPECT_EQ(unread_bytes("Received bytes that were not read: 4711"), 4711U);
  EXPECT_EQ(unread_bytes("Received bytes that were not read: "), std::nullopt);
  EXPECT_EQ(unread_bytes("open port"), std::nullopt);
}

TEST(searched_bytes, are_read_from_the_plug_ins_message) {
  EXPECT_EQ(searched_bytes("Cached data for locating database UID: 4711"), 4711U);
  EXPECT_EQ(searched_bytes("Cached data for locating database UID: "), std::nullopt);
  EXPECT_EQ(searched_bytes("open port"), std::nullopt);
}

}  // namespace
