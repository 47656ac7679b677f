#include "host/simulate/frame_encoder.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/host/simulate/frame_reader.h"

namespace veltra::host {
namespace {

using namespace std::string_literals;

TEST(frame_encoder, a_frame_is_header_trace_and_check_between_flags) {
  frame_encoder encoder(0x04030201);
  std::string out;
  encoder.append("abc", 0x1122334455667788, out);
  ASSERT_EQ(out.size(), 26U);
  EXPECT_EQ(out.substr(0, 21),
            "\x7E\x01\x01\x02\x03\x04\0\0\0\0\x88\x77\x66\x55\x44\x33\x22\x11"
            "abc"s);
  EXPECT_EQ(out.back(), '\x7E');
  const auto frames = read_frames(out);
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(frames[0].trace, "abc");
}

TEST(frame_encoder, an_empty_trace_gives_the_shortest_frame) {
  frame_encoder encoder(3);
  std::string out;
  encoder.append("", 0, out);
  // The check is the CRC-32 of the bytes between it and the flag.
  EXPECT_EQ(out, "\x7E\x01\x03"s + std::string(15, '\0') + "\x0C\x8E\x81\x67\x7E");
  EXPECT_EQ(read_frames(out).at(0).trace, "");
}

TEST(frame_encoder, only_flag_and_escape_are_escaped) {
  std::string all;
  for (int value = 0; value < 256; ++value) all += static_cast<char>(value);
  std::string stuffed = all;
  stuffed.replace(0x7E, 1, "\x7D\x5E");
  stuffed.replace(0x7D, 1, "\x7D\x5D");

  frame_encoder encoder(3);
  std::string out;
  encoder.append(all, 0, out);
  EXPECT_NE(out.find(stuffed), std::string::npos);
  EXPECT_EQ(read_frames(out).at(0).trace, all);
}

TEST(frame_encoder, header_and_check_are_escaped_too) {
  frame_encoder encoder(0x7E7D7E7D, 0x7E);
  std::string out;
  // Enough timestamps that some check holds a special byte.
  for (std::uint64_t time = 0x7D; time < 0x400; ++time) encoder.append("x", time << 8, out);
  const auto frames = read_frames(out);
  ASSERT_EQ(frames.size(), 0x400U - 0x7D);
  EXPECT_EQ(frames[0].master_id, 0x7E7D7E7DU);
  EXPECT_EQ(frames[0].sequence, 0x7EU);
  EXPECT_EQ(frames[1].timestamp_ns, 0x7E00U);
}

TEST(frame_encoder, frames_are_appended_and_counted_from_zero) {
  frame_encoder encoder(3);
  std::string out = "\x7E";
  encoder.append("a", 1, out);
  encoder.append("b", 2, out);
  encoder.append("c", 3, out);
  const auto frames = read_frames(out);
  ASSERT_EQ(frames.size(), 3U);
  for (std::uint32_t i = 0; i < 3; ++i) EXPECT_EQ(frames[i].sequence, i);
}

TEST(frame_encoder, the_sequence_number_goes_round_without_zero) {
  frame_encoder encoder(3, 0xFFFFFFFE);
  std::string out;
  for (int i = 0; i < 4; ++i) encoder.append("", 0, out);
  const auto frames = read_frames(out);
  ASSERT_EQ(frames.size(), 4U);
  EXPECT_EQ(frames[0].sequence, 0xFFFFFFFEU);
  EXPECT_EQ(frames[1].sequence, 0xFFFFFFFFU);
  EXPECT_EQ(frames[2].sequence, 1U);
  EXPECT_EQ(frames[3].sequence, 2U);
}

TEST(frame_encoder, the_largest_trace_of_special_bytes_is_whole) {
  frame_encoder encoder(3);
  const std::string trace(max_trace_size, '\x7E');
  std::string out;
  encoder.append(trace, 0, out);
  EXPECT_EQ(read_frames(out).at(0).trace, trace);
}

TEST(frame_encoder_death, a_larger_trace_breaks_the_contract) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  frame_encoder encoder(3);
  std::string out;
  const std::string trace(max_trace_size + 1, 'x');
  EXPECT_DEATH(encoder.append(trace, 0, out), "trace.size\\(\\) <= max_trace_size");
}

}  // namespace
}  // namespace veltra::host
