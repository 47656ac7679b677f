#include "host/display/live_status.h"

#include <gmock/gmock.h>

#include <string>

#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using time_point = live_status::time_point;

constexpr auto erase_line = "\r\x1b[K";
// Without wrapping, for a terminal that is too narrow.
constexpr auto start_of_line = "\x1b[?7l\r\x1b[K";
constexpr auto end_of_line = "\x1b[?7h";

// A clock that stands still until it is told to go on.
class live_status_test : public testing::Test {
 protected:
  live_status silent_status() {
    return live_status({.port = "/dev/ttyUSB0", .with_counters = false});
  }
  live_status drawing_status() { return live_status({.port = "/dev/ttyUSB0"}); }

  time_point now{1000h};
};

TEST_F(live_status_test, nothing_is_shown_before_the_port_is_opened) {
  live_status status = drawing_status();
  EXPECT_EQ(status.show(now + 1h), "");
}

TEST_F(live_status_test, five_seconds_of_silence_are_told_with_their_usual_causes) {
  live_status status = silent_status();
  status.begin(now);
  EXPECT_EQ(status.show(now + 4999ms), "");
  const std::string told = status.show(now + 5s);
  EXPECT_THAT(told, StartsWith("veltra: nothing has arrived on /dev/ttyUSB0 for 5 seconds."));
  EXPECT_THAT(told, HasSubstr("wrong port"));
  EXPECT_THAT(told, HasSubstr("baud rate"));
  EXPECT_THAT(told, HasSubstr("not enabled"));
  EXPECT_THAT(told, EndsWith("\n"));
}

TEST_F(live_status_test, silence_is_told_once) {
  live_status status = silent_status();
  status.begin(now);
  EXPECT_NE(status.show(now + 5s), "");
  EXPECT_EQ(status.show(now + 1h), "");
}

// The port and the line are right then, and an idle modem sends nothing for hours.
TEST_F(live_status_test, silence_after_data_is_told_without_causes) {
  live_status status = silent_status();
  status.begin(now);
  status.take(raw_packet("x"), now + 1s);
  EXPECT_EQ(status.show(now + 6s),
            "veltra: nothing more has arrived on /dev/ttyUSB0 for 5 seconds. Still waiting; Ctrl-C "
            "ends.\n");
}

TEST_F(live_status_test, silence_is_told_again_only_after_data_came_in_between) {
  live_status status = silent_status();
  status.begin(now);
  EXPECT_NE(status.show(now + 5s), "");
  status.take(raw_packet("x"), now + 20s);
  EXPECT_EQ(status.show(now + 24s), "");
  EXPECT_NE(status.show(now + 25s), "");
  EXPECT_EQ(status.show(now + 50s), "");
}

TEST_F(live_status_test, data_puts_the_message_off) {
  live_status status = silent_status();
  status.begin(now);
  status.take(raw_packet("x"), now + 3s);
  EXPECT_EQ(status.show(now + 5s), "");
}

TEST_F(live_status_test, a_long_search_is_told_once) {
  live_status status = silent_status();
  status.begin(now);
  status.take_searched(999'999);
  EXPECT_EQ(status.show(now + 1s), "");
  status.take_searched(1'000'000);
  EXPECT_EQ(status.show(now + 2s),
            "veltra: 1.0 MB have arrived on /dev/ttyUSB0 and no database UUID in them; the modem "
            "sends it "
            "when a trace begins. Restart the trace, or name the database with --database. "
            "Still searching; Ctrl-C ends.\n");
  status.take_searched(2'000'000);
  EXPECT_EQ(status.show(now + 3s), "");
}

TEST_F(live_status_test, a_decoded_packet_is_no_sign_of_the_line) {
  live_status status = silent_status();
  status.begin(now);
  status.take(packet_of("ip", "x"), now + 4s);
  EXPECT_THAT(status.show(now + 5s), HasSubstr("wrong port"));
}

TEST_F(live_status_test, without_a_terminal_nothing_else_is_ever_shown) {
  live_status status = silent_status();
  status.begin(now);
  for (int i = 0; i < 100; ++i) {
    status.take(raw_packet("x"), now + i * 100ms);
    EXPECT_EQ(status.show(now + i * 100ms), "");
  }
  EXPECT_EQ(status.clear(), "");
}

TEST_F(live_status_test, the_line_tells_time_bytes_speed_packets_and_losses) {
  live_status status = drawing_status();
  status.begin(now);
  status.take(raw_packet(std::string(150'000, 'x')), now + 1s);
  for (const char* layer : {"ip", "ip", "lte_rrc.pcch", "lte_rrc.dl_dcch", "lte_rrc.dl_dcch",
                            "nas-eps", "at", "handshake_randbytes", "session_master"}) {
    status.take(packet_of(layer, "x"), now + 1s);
  }
  status.take(packet_of("at", "Dropped traces count: 7"), now + 1s);
  EXPECT_EQ(status.show(now + 1s),
            std::string(start_of_line) +
                "00:00:01  150.0 kB  150.0 kB/s  ip 2  rrc 3  nas 1  at 2  tls 2  dropped 7" +
                end_of_line);
  EXPECT_THAT(status.show(now + 3661s), HasSubstr("01:01:01  "));
}

TEST_F(live_status_test, the_speed_is_that_of_the_last_second) {
  live_status status = drawing_status();
  status.begin(now);
  status.take(raw_packet(std::string(100'000, 'x')), now + 500ms);
  EXPECT_THAT(status.show(now + 1s), HasSubstr("  100.0 kB  100.0 kB/s  "));
  status.take(raw_packet(std::string(10'000, 'x')), now + 1500ms);
  EXPECT_THAT(status.show(now + 1500ms), HasSubstr("  110.0 kB  100.0 kB/s  "));
  EXPECT_THAT(status.show(now + 2s), HasSubstr("  110.0 kB  10.0 kB/s  "));
  EXPECT_THAT(status.show(now + 4s), HasSubstr("  110.0 kB  0 B/s  "));
}

TEST_F(live_status_test, the_line_is_redrawn_four_times_a_second_at_most) {
  live_status status = drawing_status();
  status.begin(now);
  EXPECT_THAT(status.show(now), StartsWith(start_of_line));
  status.take(raw_packet("x"), now + 1ms);
  EXPECT_EQ(status.show(now + 249ms), "");
  EXPECT_THAT(status.show(now + 250ms), StartsWith(start_of_line));
}

TEST_F(live_status_test, while_the_database_is_searched_the_line_says_so) {
  live_status status = drawing_status();
  status.begin(now);
  status.take(raw_packet(std::string(2000, 'x')), now);
  status.take_searched(2000);
  EXPECT_EQ(status.show(now), std::string(start_of_line) +
                                  "00:00:00  2.0 kB  0 B/s  searching for the database's UUID" +
                                  end_of_line);
  status.take_located();
  EXPECT_THAT(status.show(now + 1s), HasSubstr("  2.0 kB  2.0 kB/s  ip 0"));
}

TEST_F(live_status_test, the_message_stands_on_a_line_of_its_own_and_the_counters_below_it) {
  live_status status = drawing_status();
  status.begin(now);
  status.show(now);
  const std::string text = status.show(now + 5s);
  EXPECT_THAT(text, StartsWith(std::string(erase_line) + "veltra: nothing"));
  EXPECT_THAT(text, HasSubstr(std::string("ends.\n") + start_of_line + "00:00:05  0 B"));
}

TEST_F(live_status_test, a_line_that_was_taken_off_comes_back_at_once) {
  live_status status = drawing_status();
  status.begin(now);
  status.show(now);
  status.clear();
  EXPECT_THAT(status.show(now), StartsWith(start_of_line));
}

TEST_F(live_status_test, clear_takes_the_line_off_once) {
  live_status status = drawing_status();
  status.begin(now);
  status.show(now);
  EXPECT_EQ(status.clear(), erase_line);
  EXPECT_EQ(status.clear(), "");
}

}  // namespace
}  // namespace veltra::host
