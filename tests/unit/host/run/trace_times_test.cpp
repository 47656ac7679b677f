#include "host/run/trace_times.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

class trace_times_test : public testing::Test {
 protected:
  static constexpr utc_time noon = 1'714'564'800'000'000'000;
  static constexpr utc_time second = 1'000'000'000;

  trace_times times_of_host(bool is_decoded) const {
    return {capture_clock(time_base{time_base::kind::host}), is_decoded};
  }

  void raw(trace_times& times, utc_time now, const char* metadata = "{}") {
    packet packet;
    packet.layer = raw_layer;
    packet.metadata = metadata;
    add(packet, times, now);
  }
  void message(trace_times& times, std::uint64_t modem_time, utc_time now,
               const char* metadata = R"({"modem_db_uuid": "u-1"})") {
    packet packet;
    packet.time = modem_time;
    packet.layer = "ip";
    packet.metadata = metadata;
    add(packet, times, now);
  }
  std::filesystem::path at(const char* name) const { return directory_.path() / name; }
  sidecar beside(const char* name) const {
    return read_sidecar(sidecar_path(at(name))).value_or(sidecar());
  }

 private:
  void add(packet& packet, trace_times& times, utc_time now) {
    packet.payload = bytes_;
    statistics_.add(packet);
    EXPECT_FALSE(times.place(packet, now, statistics_));
  }

  const test_support::temp_directory directory_;
  const std::vector<std::uint8_t> bytes_ = {1, 2, 3};
  run_statistics statistics_;
};

TEST_F(trace_times_test, each_file_of_a_series_gets_the_anchor_before_it) {
  trace_times times = times_of_host(true);
  times.begin_file(at("1"));
  raw(times, noon);
  message(times, 20, noon + 1);
  times.begin_file(at("2"));
  raw(times, noon + second);
  EXPECT_EQ(beside("1").anchors, (std::vector<clock_anchor>{{noon + 1, 20, 3}}));
  EXPECT_EQ(beside("2").anchors, (std::vector<clock_anchor>{{noon + 1, 20, 0}}));
}

TEST_F(trace_times_test, an_anchor_counts_the_bytes_of_its_own_file) {
  trace_times times = times_of_host(true);
  times.begin_file(at("1"));
  raw(times, noon);
  message(times, 5 * second, noon);
  times.begin_file(at("2"));
  raw(times, noon + second);
  raw(times, noon + second);
  message(times, 1, noon + 2 * second);  // the modem has restarted
  const auto anchors = beside("2").anchors;
  ASSERT_EQ(anchors.size(), 2U);
  EXPECT_EQ(anchors[1], (clock_anchor{noon + 2 * second, 1, 6}));
}

TEST_F(trace_times_test, a_file_that_is_not_decoded_begins_when_its_first_byte_came) {
  trace_times times = times_of_host(false);
  times.begin_file(at("1"));
  raw(times, noon);
  times.begin_file(at("2"));
  raw(times, noon + 7 * second);
  EXPECT_EQ(beside("1").anchors, (std::vector<clock_anchor>{{noon, std::nullopt, 0}}));
  EXPECT_EQ(beside("2").anchors, (std::vector<clock_anchor>{{noon + 7 * second, std::nullopt, 0}}));
}

TEST_F(trace_times_test, a_file_whose_modem_came_back_with_other_firmware_names_its_database) {
  trace_times times = times_of_host(true);
  times.begin_file(at("1"));
  raw(times, noon);
  message(times, 20, noon);
  times.begin_file(at("2"));
  raw(times, noon + second);
  message(times, 30, noon + second, R"({"modem_db_uuid": "u-2"})");
  EXPECT_EQ(beside("1").uuid, "u-1");
  EXPECT_EQ(beside("2").uuid, "u-2");
}

}  // namespace
}  // namespace veltra::host
