#include "host/display/live_view.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const source_event port_opening = {.kind = event_kind::port_opening};

// The view's clock is the real one. Later ticks are as good as waiting.
live_view::time_point in(std::chrono::steady_clock::duration time) {
  return std::chrono::steady_clock::now() + time;
}

// What `work` writes to the terminal.
std::string shown(const std::function<void()>& work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

TEST(live_view, silence_is_reported_from_the_opening_of_the_port_on) {
  live_view view({.port = "tty", .with_counters = false});
  EXPECT_EQ(shown([&] { view.tick(in(1h)); }), "");
  view.take_event(port_opening);
  EXPECT_THAT(shown([&] { view.tick(in(6s)); }), StartsWith("veltra: nothing has arrived on tty"));
}

TEST(live_view, silence_is_reported_again_after_data) {
  live_view view({.port = "tty", .with_counters = false});
  view.take_event(port_opening);
  view.take_packet(raw_packet("x"));
  EXPECT_THAT(shown([&] { view.tick(in(6s)); }), HasSubstr("nothing more has arrived"));
  EXPECT_EQ(shown([&] { view.tick(in(7s)); }), "");
  view.take_packet(raw_packet("x"));
  EXPECT_THAT(shown([&] { view.tick(in(8s)); }), HasSubstr("nothing more has arrived"));
}

TEST(live_view, the_search_for_the_uuid_is_shown_until_the_database_is_located) {
  live_view view({.port = "tty", .silence = 1h});
  view.take_event(port_opening);
  view.take_event({.kind = event_kind::bytes_searched, .bytes = 17});
  EXPECT_THAT(shown([&] { view.tick(in(1s)); }), HasSubstr("searching for the database's UUID"));
  view.take_event({.kind = event_kind::database_located});
  EXPECT_THAT(shown([&] { view.tick(in(2s)); }), HasSubstr("ip 0"));
}

// A terminal that has been stopped must not stop the run.
TEST(live_view, lines_wait_for_the_next_tick_and_stay_above_the_counters) {
  live_view view({.port = "tty", .silence = 1h});
  view.take_event(port_opening);
  EXPECT_THAT(shown([&] { view.tick(in(1s)); }), HasSubstr("ip 0"));
  EXPECT_EQ(shown([&] { view.show_lines("a note\n"); }), "");
  EXPECT_THAT(shown([&] { view.tick(in(1s)); }), StartsWith("\r\x1b[Ka note\n\x1b[?7l\r\x1b[K"));
}

TEST(live_view, lines_are_shown_at_once_before_the_port_is_opened_and_after_the_end) {
  live_view view({.port = "tty", .with_counters = false});
  EXPECT_EQ(shown([&] { view.show_lines("first\n"); }), "first\n");
  view.take_event(port_opening);
  view.end();
  EXPECT_EQ(shown([&] { view.show_lines("last\n"); }), "last\n");
}

TEST(live_view, its_end_shows_what_waits_and_takes_the_counters_off_the_terminal) {
  live_view view({.port = "tty", .silence = 1h});
  view.take_event(port_opening);
  EXPECT_THAT(shown([&] { view.tick(in(0s)); }), HasSubstr("ip 0"));
  view.show_lines("a note\n");
  EXPECT_EQ(shown([&] { view.end(); }), "\r\x1b[Ka note\n");
}

TEST(live_view, a_log_has_the_start_of_a_run_that_is_shorter_than_a_tick) {
  live_view view({.port = "tty", .with_counters = false, .report_start = "files m.trace"});
  view.take_event(port_opening);
  view.take_packet(raw_packet("x"));
  EXPECT_EQ(shown([&] { view.end(); }), "veltra: tty: recording; files m.trace\n");
}

TEST(live_view, nothing_is_shown_when_the_port_was_never_opened) {
  live_view view({.port = "tty", .silence = 0ms});
  EXPECT_EQ(shown([&] {
              view.take_packet(raw_packet("x"));
              view.tick(in(1h));
              view.end();
            }),
            "");
}

}  // namespace
}  // namespace veltra::host
