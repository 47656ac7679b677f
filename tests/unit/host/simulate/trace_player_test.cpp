#include "host/simulate/trace_player.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/unit/host/simulate/frame_reader.h"

namespace veltra::host {
namespace {

trace_sequence two_traces() {
  trace_sequence sequence;
  sequence.traces = {{0, "first"}, {400, "second"}};
  sequence.period_ns = 1000;
  return sequence;
}

TEST(trace_player, frames_come_one_at_a_time_in_order) {
  const trace_sequence sequence = two_traces();
  trace_player player(sequence, 1);
  std::string out;
  ASSERT_FALSE(player.at_end());
  EXPECT_EQ(player.next_time_ns(), 0U);
  player.append_next(out);
  EXPECT_EQ(read_frames(out).size(), 1U);
  ASSERT_FALSE(player.at_end());
  EXPECT_EQ(player.next_time_ns(), 400U);
  player.append_next(out);
  EXPECT_TRUE(player.at_end());
  const auto frames = read_frames(out);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0].trace, "first");
  EXPECT_EQ(frames[1].trace, "second");
}

TEST(trace_player, times_and_sequence_numbers_run_on_over_repetitions) {
  const trace_sequence sequence = two_traces();
  std::string out;
  for (trace_player player(sequence, 3); !player.at_end();) player.append_next(out);
  const auto frames = read_frames(out);
  ASSERT_EQ(frames.size(), 6U);
  const std::uint64_t times[] = {0, 400, 1000, 1400, 2000, 2400};
  for (std::uint32_t i = 0; i < 6; ++i) {
    EXPECT_EQ(frames[i].sequence, i);
    EXPECT_EQ(frames[i].timestamp_ns, times[i]);
    EXPECT_EQ(frames[i].trace, i % 2 == 0 ? "first" : "second");
  }
}

TEST(trace_player, nothing_to_play_is_the_end) {
  const trace_sequence sequence = two_traces();
  EXPECT_TRUE(trace_player(sequence, 0).at_end());
  EXPECT_TRUE(trace_player(trace_sequence{}, 5).at_end());
}

TEST(trace_player, the_last_possible_repetition_has_a_timestamp) {
  trace_sequence sequence = two_traces();
  sequence.period_ns = std::numeric_limits<std::uint64_t>::max() / 2;
  EXPECT_EQ(trace_player::max_repetitions(sequence), 2U);
  std::string out;
  for (trace_player player(sequence, 2); !player.at_end();) player.append_next(out);
  EXPECT_EQ(read_frames(out).at(3).timestamp_ns, sequence.period_ns + 400);
}

}  // namespace
}  // namespace veltra::host
