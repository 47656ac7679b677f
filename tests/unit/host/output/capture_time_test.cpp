// The times of a capture's packets, as readers add them up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/output/pcapng_sink.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t noon = 1'714'564'800 * second;  // 2024-05-01T12:00:00Z

class capture_time : public testing::Test {
 protected:
  capture_time() { sink_.begin(); }

  void put(std::string_view layer, std::uint64_t time, std::uint64_t offset,
           std::uint64_t step = 0) {
    packet packet = packet_of(layer, "E", "{}", time);
    packet.time_offset = offset;
    packet.clock_step = step;
    sink_.write(packet);
  }

  std::vector<captured_packet> packets() {
    sink_.finish();
    return read_packets(content(path_));
  }

  test_support::temp_directory directory_;
  std::filesystem::path path_ = directory_.path() / "out.pcapng";
  pcapng_sink sink_{path_, {.packets = with_raw_packets()}};
};

std::uint64_t read_time(const captured_packet& packet) {
  return static_cast<std::uint64_t>(packet.time_offset) * second + packet.time;
}

TEST_F(capture_time, without_an_offset_it_is_the_modems) {
  put("ip", 5, 0);
  put("at", ~std::uint64_t{0}, 0);
  const auto read = packets();
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[0].time, 5U);
  EXPECT_EQ(read[1].time, ~std::uint64_t{0});
  EXPECT_EQ(read[1].time_offset, 0);
}

TEST_F(capture_time, whole_seconds_are_the_interfaces_and_the_rest_is_the_packets) {
  put("ip", 7, noon + 250);
  put("at", 9, noon + 250);
  for (const captured_packet& packet : packets()) {
    EXPECT_EQ(packet.time_offset, 1'714'564'800);
    EXPECT_EQ(packet.time, (packet.interface == "ip" ? 7U : 9U) + 250U);
  }
}

TEST_F(capture_time, a_clock_that_is_ahead_is_set_back) {
  put("ip", noon + 5, 0 - second - 1);
  const auto read = packets();
  EXPECT_EQ(read[0].time_offset, -2);
  EXPECT_EQ(read_time(read[0]), noon + 5 - second - 1);
}

TEST_F(capture_time, another_anchor_changes_the_times_and_not_the_interfaces) {
  put("ip", 100 * second, noon - 100 * second);
  put("ip", second, noon + 59 * second, 99 * second);
  put("nas-eps", 2 * second, noon + 59 * second);
  const auto read = packets();
  EXPECT_EQ(read_time(read[0]), noon);
  EXPECT_EQ(read_time(read[1]), noon + 60 * second);
  EXPECT_EQ(read_time(read[2]), noon + 61 * second);
  EXPECT_EQ(read[2].time_offset, read[0].time_offset);
}

TEST_F(capture_time, a_step_is_a_comment_on_the_packet_behind_it) {
  put("ip", 100 * second, 0);
  put("ip", second, 99 * second, 99'250'000'000);
  put("ip", 2 * second, 99 * second);
  const auto read = packets();
  EXPECT_EQ(read[0].comment, "");
  EXPECT_EQ(read[1].comment, "the modem's clock went back by 99.250 s before this packet");
  EXPECT_EQ(read[2].comment, "");
}

TEST_F(capture_time, raw_bytes_have_that_of_the_message_before_or_of_their_arrival) {
  put("modem_trace", 0, noon + 5);
  put("ip", 20 * second, noon - 20 * second + 7);
  put("modem_trace", 0, noon - 20 * second + 7);
  const auto read = packets();
  ASSERT_EQ(read.size(), 3U);
  EXPECT_EQ(read_time(read[0]), noon + 5);
  EXPECT_EQ(read_time(read[1]), noon + 7);
  EXPECT_EQ(read_time(read[2]), noon + 7);
}

}  // namespace
}  // namespace veltra::host
