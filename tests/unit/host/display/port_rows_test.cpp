#include "host/display/port_rows.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "host/display/live_view.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using time_point = port_rows::time_point;

// What `work` writes to the terminal.
std::string written(const std::function<void()>& work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

std::string row(const std::string& text) {
  return "\x1b[?7l\r\x1b[K" + text + "\x1b[?7h";
}

constexpr const char* wiped_rows = "\r\x1b[K\x1b[A\r\x1b[K";

TEST(port_rows, have_one_width_of_names_and_are_redrawn_in_their_place) {
  port_rows rows({"a", "long"});
  rows.set_text(0, "1 kB");
  rows.set_text(1, "2 kB");
  EXPECT_EQ(written([&] { rows.draw(time_point(1h)); }),
            row("a     1 kB") + "\n" + row("long  2 kB"));
  rows.set_text(1, "3 kB");
  EXPECT_EQ(written([&] { rows.draw(time_point(1h + 100ms)); }), "");
  EXPECT_EQ(written([&] { rows.draw(time_point(1h + 250ms)); }),
            wiped_rows + row("a     1 kB") + "\n" + row("long  3 kB"));
}

TEST(port_rows, stay_below_lines_and_are_gone_after_the_end) {
  port_rows rows({"a", "b"});
  EXPECT_EQ(written([&] { rows.show_lines("early\n"); }), "early\n");
  written([&] { rows.draw(time_point(1h)); });
  EXPECT_EQ(written([&] { rows.show_lines("a note\n"); }),
            std::string(wiped_rows) + "a note\n" + row("a  ") + "\n" + row("b  "));
  EXPECT_EQ(written([&] { rows.end(); }), wiped_rows);
  EXPECT_EQ(written([&] { rows.draw(time_point(2h)); }), "");
  EXPECT_EQ(written([&] { rows.show_lines("summary\n"); }), "summary\n");
}

TEST(port_rows, leave_their_texts_what_the_names_do_not_take) {
  const port_rows rows({"a", "long"});
  EXPECT_EQ(rows.columns_for_text(80), 74U);
  EXPECT_EQ(rows.columns_for_text(3), 1U);
  EXPECT_EQ(rows.columns_for_text(0), 0U);
}

TEST(port_rows, show_the_counters_of_a_view_and_its_lines) {
  port_rows rows({"a", "b"});
  live_view view({.port = "b", .with_counters = false, .silence = 1h}, &rows, 1);
  const auto now = std::chrono::steady_clock::now();
  EXPECT_THAT(written([&] { view.tick(now); }), HasSubstr("b  not open yet"));
  view.take_event({.kind = event_kind::port_opening});
  view.take_packet(packet_of("ip", "x"));
  view.show_lines("a note\n");
  const std::string text = written([&] { view.tick(now + 1s); });
  EXPECT_THAT(text, HasSubstr("a note\n"));
  EXPECT_THAT(text, HasSubstr("ip 1"));
  view.take_facts({.is_waiting = true});
  EXPECT_THAT(written([&] { view.tick(now + 2s); }), HasSubstr("waiting for the port"));
  written([&] { view.end(); });
  EXPECT_THAT(written([&] { rows.draw(now + 3s); }), HasSubstr("b  ended"));
}

}  // namespace
}  // namespace veltra::host
