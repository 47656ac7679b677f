#include "host/run/capture_clock.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr utc_time noon = 1'714'564'800 * second;
constexpr time_base modem{time_base::kind::modem};
constexpr time_base host_clock{time_base::kind::host};

struct placed {
  utc_time time;
  std::uint64_t step;
  std::optional<clock_anchor> anchor;
};

placed place(capture_clock& clock, packet packet, utc_time now = 0, std::uint64_t raw_offset = 0) {
  const auto anchor = clock.place(packet, now, raw_offset);
  return {packet.time + packet.time_offset, packet.clock_step, anchor};
}

packet message(std::uint64_t time) {
  return packet_of("ip", "E", "{}", time);
}

packet loss_report(std::uint64_t time) {
  return packet_of("at", "Dropped traces count: 1", "{}", time);
}

TEST(capture_clock, the_modems_clock_gives_its_own_times) {
  capture_clock clock(modem);
  for (const std::uint64_t time : {std::uint64_t{5}, 7 * second, ~std::uint64_t{0}}) {
    const placed at = place(clock, message(time), noon);
    EXPECT_EQ(at.time, time);
    EXPECT_EQ(at.step, 0U);
    EXPECT_EQ(at.anchor, std::nullopt);
  }
}

TEST(capture_clock, the_hosts_clock_is_that_of_the_first_packet) {
  capture_clock clock(host_clock);
  const placed first = place(clock, message(20 * second), noon, 100);
  EXPECT_EQ(first.time, noon);
  EXPECT_EQ(first.anchor, (clock_anchor{noon, 20 * second, 100}));
  const placed second_packet = place(clock, message(21 * second), noon + 3 * second, 200);
  EXPECT_EQ(second_packet.time, noon + second) << "the modem's clock counts from there";
  EXPECT_EQ(second_packet.anchor, std::nullopt);
}

TEST(capture_clock, a_restart_is_anchored_to_the_host_again) {
  capture_clock clock(host_clock);
  place(clock, message(1000 * second), noon, 100);
  const placed restarted = place(clock, message(2 * second), noon + 30 * second, 300);
  EXPECT_EQ(restarted.time, noon + 30 * second);
  EXPECT_EQ(restarted.step, 998 * second);
  EXPECT_EQ(restarted.anchor, (clock_anchor{noon + 30 * second, 2 * second, 300}));
  EXPECT_EQ(place(clock, message(3 * second), noon + 99 * second).time, noon + 31 * second);
}

TEST(capture_clock, times_do_not_go_back_with_the_hosts_clock) {
  capture_clock clock(host_clock);
  place(clock, message(10 * second), noon);
  place(clock, message(15 * second), noon);
  const placed restarted = place(clock, message(0), noon - 100 * second);
  EXPECT_EQ(restarted.time, noon + 5 * second);
  EXPECT_EQ(restarted.anchor, (clock_anchor{noon + 5 * second, 0, 0}));
}

TEST(capture_clock, joined_traces_go_on_from_the_last_packet) {
  capture_clock clock(modem);
  place(clock, message(second));
  place(clock, message(5 * second));
  const placed next = place(clock, message(second));
  EXPECT_EQ(next.time, 5 * second);
  EXPECT_EQ(next.step, 4 * second);
  EXPECT_EQ(place(clock, message(2 * second)).time, 6 * second);
  EXPECT_EQ(place(clock, message(second)).time, 6 * second) << "a third one";
}

TEST(capture_clock, packets_that_are_slightly_out_of_order_are_no_step) {
  capture_clock clock(modem);
  place(clock, message(second));
  const placed late = place(clock, message(second - capture_clock::min_step + 1));
  EXPECT_EQ(late.time, second - capture_clock::min_step + 1);
  EXPECT_EQ(late.step, 0U);
  EXPECT_EQ(place(clock, message(second - capture_clock::min_step)).step, capture_clock::min_step)
      << "counted from the newest packet";
}

TEST(capture_clock, a_given_time_is_that_of_the_first_packet) {
  capture_clock clock(time_base{time_base::kind::given, noon});
  const placed first = place(clock, message(20 * second), 0, 7);
  EXPECT_EQ(first.time, noon);
  EXPECT_EQ(first.anchor, (clock_anchor{noon, 20 * second, 7}));
  EXPECT_EQ(place(clock, message(25 * second)).time, noon + 5 * second);
  const placed restarted = place(clock, message(0));
  EXPECT_EQ(restarted.time, noon + 5 * second);
  EXPECT_EQ(restarted.anchor, std::nullopt) << "its time is not known";
}

TEST(capture_clock, raw_bytes_and_reports_of_losses_set_no_clock) {
  capture_clock clock(host_clock);
  EXPECT_EQ(place(clock, raw_packet("x"), noon).time, noon);
  const placed report = place(clock, loss_report(0), noon + 1);
  EXPECT_EQ(report.time, noon + 1);
  EXPECT_EQ(report.anchor, std::nullopt);
  EXPECT_EQ(place(clock, message(20 * second), noon + 2).time, noon + 2);
  const placed late_report = place(clock, loss_report(0), noon + 3);
  EXPECT_EQ(late_report.step, 0U);
  EXPECT_EQ(place(clock, message(21 * second), noon + 4).step, 0U);
}

// What a live capture gave and a later decode of its recording gives again.
TEST(capture_clock, recorded_anchors_give_the_same_times_again) {
  const std::vector<std::uint64_t> times = {20 * second, 25 * second, 2 * second, 3 * second,
                                            second};
  capture_clock live(host_clock);
  std::vector<clock_anchor> anchors;
  std::vector<utc_time> expected;
  utc_time now = noon;
  for (const std::uint64_t time : times) {
    const placed at = place(live, message(time), now += 10 * second);
    expected.push_back(at.time);
    if (at.anchor) anchors.push_back(*at.anchor);
  }
  ASSERT_EQ(anchors.size(), 3U);

  capture_clock later(anchors);
  for (std::size_t i = 0; i < times.size(); ++i) {
    const placed at = place(later, message(times[i]));
    EXPECT_EQ(at.time, expected[i]) << "packet " << i;
    EXPECT_EQ(at.anchor, std::nullopt);
  }
}

TEST(capture_clock, a_step_that_the_recording_does_not_know_goes_on_from_the_last_packet) {
  capture_clock clock(
      std::vector<clock_anchor>{{noon, 20 * second, 0}, {noon + 100 * second, 3 * second, 0}});
  EXPECT_EQ(place(clock, raw_packet("x")).time, noon);
  EXPECT_EQ(place(clock, message(21 * second)).time, noon + second) << "before the anchor's packet";
  EXPECT_EQ(place(clock, message(4 * second)).time, noon + second);
  EXPECT_EQ(place(clock, message(3 * second)).time, noon + 100 * second);
}

TEST(capture_clock, a_trace_that_is_not_decoded_is_anchored_by_its_arrival) {
  EXPECT_EQ(capture_clock(host_clock).anchor_of_arrival(noon),
            (clock_anchor{noon, std::nullopt, 0}));
  EXPECT_EQ(capture_clock(time_base{time_base::kind::given, noon}).anchor_of_arrival(5),
            (clock_anchor{noon, std::nullopt, 0}));
  EXPECT_EQ(capture_clock(modem).anchor_of_arrival(noon), std::nullopt);
}

TEST(capture_clock, an_anchor_without_a_modem_time_is_that_of_the_first_packet) {
  capture_clock clock(std::vector<clock_anchor>{{noon, std::nullopt, 0}});
  EXPECT_EQ(place(clock, message(20 * second)).time, noon);
  EXPECT_EQ(place(clock, message(21 * second)).time, noon + second);
}

}  // namespace
}  // namespace veltra::host
