// When packets came, from the run to the capture and the recording's sidecar.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "host/output/raw_sink.h"
#include "host/run/sidecar.h"
#include "tests/unit/host/run/run_fixture.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;

constexpr utc_time begin_of_recording = 1'714'564'800'000'000'000;

class run_times_test : public run_test {
 protected:
  static json at_time(std::uint64_t time) {
    json step = packet_step("ip", "E");
    step["time"] = time;
    return step;
  }

  void run_live_with_raw_trace() {
    raw_sink raw(at("raw"), true);
    pcapng_sink capture(at("out.pcapng"), {.is_live = true});
    run_live({.raw_trace = &raw, .capture = &capture, .raw_file = at("raw")});
  }
};

utc_time host_time() {
  return static_cast<utc_time>(
      std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count());
}

utc_time read_time(const captured_packet& packet) {
  return static_cast<std::uint64_t>(packet.time_offset) * 1'000'000'000 + packet.time;
}

TEST_F(run_times_test, a_live_capture_has_the_hosts_times) {
  script({{"steps", {raw_step, at_time(5'000'000'000), at_time(5'000'000'007)}}});
  const utc_time before = host_time();
  run_live();
  const auto packets = captured();
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_GE(read_time(packets[0]), before);
  EXPECT_LE(read_time(packets[0]), host_time());
  EXPECT_EQ(read_time(packets[1]), read_time(packets[0]) + 7);
}

TEST_F(run_times_test, a_recorded_trace_has_the_modems_times) {
  script({{"steps", {raw_step, at_time(5)}}});
  run_file();
  EXPECT_EQ(read_time(captured().at(0)), 5U);
}

TEST_F(run_times_test, every_anchor_is_in_the_sidecar_with_the_bytes_before_it) {
  options_.times = time_base{time_base::kind::host};
  script({{"steps",
           {raw_step, at_time(20'000'000'000), raw_step, at_time(21'000'000'000), raw_step,
            at_time(1'000'000'000)}}});
  run_live_with_raw_trace();
  const auto kept = read_sidecar(at("raw.json"));
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->uuid, "u-1");
  ASSERT_EQ(kept->anchors.size(), 2U);
  EXPECT_EQ(kept->anchors[0].modem_time, 20'000'000'000U);
  EXPECT_EQ(kept->anchors[0].raw_offset, 5U);
  EXPECT_EQ(kept->anchors[1].modem_time, 1'000'000'000U);
  EXPECT_EQ(kept->anchors[1].raw_offset, 15U);
  const auto packets = captured();
  EXPECT_EQ(read_time(packets.at(0)), kept->anchors[0].utc);
  EXPECT_EQ(read_time(packets.at(2)), kept->anchors[1].utc);
}

TEST_F(run_times_test, a_trace_that_is_not_decoded_keeps_the_time_of_its_arrival) {
  script({{"steps", {raw_step, raw_step}}});
  raw_sink raw(at("raw"));
  const utc_time before = host_time();
  run_live({.raw_trace = &raw, .raw_file = at("raw")});
  const auto kept = read_sidecar(at("raw.json"));
  ASSERT_TRUE(kept);
  ASSERT_EQ(kept->anchors.size(), 1U);
  EXPECT_EQ(kept->anchors[0].modem_time, std::nullopt);
  EXPECT_GE(kept->anchors[0].utc, before);
  EXPECT_LE(kept->anchors[0].utc, host_time());
}

TEST_F(run_times_test, an_earlier_recordings_sidecar_goes_with_the_first_byte_only) {
  options_.times = time_base{time_base::kind::modem};
  write_sidecar(at("raw.json"), {"earlier", {{begin_of_recording, 1, 0}}});
  script(json::object());
  refusal_of([&] { run_live_with_raw_trace(); }, exit_code::nothing_decoded);
  EXPECT_TRUE(std::filesystem::exists(at("raw.json")));
  script({{"steps", {raw_step, at_time(5)}}});
  run_live_with_raw_trace();
  EXPECT_FALSE(std::filesystem::exists(at("raw.json")));
}

TEST_F(run_times_test, a_sidecar_that_cannot_be_written_costs_nothing_else) {
  std::filesystem::create_directory(at("raw.json"));
  script({{"steps", {raw_step, at_time(5)}}});
  run_live_with_raw_trace();
  EXPECT_EQ(captured().size(), 1U);
  EXPECT_EQ(content(at("raw")), "12345");
  EXPECT_THAT(display_.lines(), HasSubstr("raw.json cannot be written"));
}

TEST_F(run_times_test, recorded_times_are_used_again) {
  options_.recorded_times = {{begin_of_recording, 20, 0}};
  script({{"steps", {raw_step, at_time(25)}}});
  run_file();
  EXPECT_EQ(read_time(captured().at(0)), begin_of_recording + 5);
}

}  // namespace
}  // namespace veltra::host
