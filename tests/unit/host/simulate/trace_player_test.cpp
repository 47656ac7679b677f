#include "host/simulate/trace_player.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "tests/unit/host/simulate/frame_reader.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;

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

// A line whose clock moves only in sleep_until().
class scripted_line : public modem_line {
 public:
  struct piece {
    std::chrono::nanoseconds time;  // since the start
    std::string bytes;
  };

  time_point now() override { return time_; }

  play_end write(std::string_view bytes) override {
    if (pieces.size() == fail_at) return failure;
    pieces.push_back({time_ - begin_, std::string(bytes)});
    return play_end::complete;
  }

  play_end sleep_until(time_point when) override {
    if (pieces.size() == interrupt_at) return play_end::interrupted;
    time_ = std::max(time_, when) + lateness;
    lateness = {};
    return play_end::complete;
  }

  std::string bytes() const {
    std::string all;
    for (const piece& sent : pieces) all += sent.bytes;
    return all;
  }

  std::vector<piece> pieces;
  std::size_t fail_at = SIZE_MAX;
  play_end failure = play_end::reader_gone;
  std::size_t interrupt_at = SIZE_MAX;
  std::chrono::nanoseconds lateness{};  // of the next sleep

 private:
  const time_point begin_{1h};
  time_point time_ = begin_;
};

// Three traces; the last comes 10 ms after the second.
trace_sequence three_traces() {
  return {.traces = {{0, std::string(40, 'a')},
                     {1'000, std::string(250, 'b')},
                     {10'001'000, std::string(30, 'c')}},
          .period_ns = 20'000'000};
}

std::string as_a_file(const trace_sequence& sequence, std::uint64_t repetitions) {
  std::string bytes;
  for (trace_player player(sequence, repetitions); !player.at_end();) player.append_next(bytes);
  return bytes;
}

class line_playing : public testing::Test {
 protected:
  play_result run(play_pace pace, std::uint64_t repetitions = 1) {
    trace_player player(sequence, repetitions);
    return play(player, pace, line);
  }

  trace_sequence sequence = three_traces();
  scripted_line line;
};

TEST_F(line_playing, every_speed_sends_what_a_file_would_contain) {
  for (const auto speed : {play_speed::line, play_speed::session, play_speed::fastest}) {
    line.pieces.clear();
    const play_result result = run({speed, 1'000'000}, 3);
    EXPECT_EQ(result.end, play_end::complete);
    EXPECT_EQ(line.bytes(), as_a_file(sequence, 3));
    EXPECT_EQ(result.bytes, line.bytes().size());
  }
}

TEST_F(line_playing, a_byte_takes_ten_bits_of_the_line) {
  run({play_speed::line, 1'000'000});
  std::size_t sent = 0;
  for (const auto& piece : line.pieces) {
    sent += piece.bytes.size();
    EXPECT_EQ(piece.time, sent * 10us);
    EXPECT_LE(piece.bytes.size(), 100U) << "a millisecond";
  }
  EXPECT_EQ(sent, as_a_file(sequence, 1).size());
}

TEST_F(line_playing, at_the_speed_of_the_line_pieces_are_full) {
  run({play_speed::line, 1'000'000}, 50);
  for (std::size_t i = 0; i + 1 < line.pieces.size(); ++i) {
    EXPECT_EQ(line.pieces[i].bytes.size(), 100U);
  }
}

TEST_F(line_playing, a_baud_rate_that_is_not_round_stays_exact) {
  run({play_speed::line, 921'600}, 10'000);
  const auto bytes = line.bytes().size();
  const auto exact = static_cast<std::int64_t>(bytes * 10'000'000'000 / 921'600);
  EXPECT_EQ(line.pieces.back().time.count(), exact);
}

TEST_F(line_playing, a_slow_line_sends_byte_by_byte) {
  run({play_speed::line, 300});
  EXPECT_EQ(line.pieces.front().bytes.size(), 1U);
  EXPECT_EQ(line.pieces.size(), as_a_file(sequence, 1).size());
}

TEST_F(line_playing, bytes_after_a_delay_are_not_late) {
  line.lateness = 5ms;
  run({play_speed::line, 1'000'000}, 10);
  EXPECT_EQ(line.pieces.front().time, 6ms);
  EXPECT_EQ(line.pieces.back().time, line.bytes().size() * 10us);
}

TEST_F(line_playing, at_session_speed_a_trace_waits_for_its_time) {
  run({play_speed::session, 1'000'000});
  const std::size_t before = as_a_file({{sequence.traces[0], sequence.traces[1]}, 1}, 1).size();
  std::size_t sent = 0;
  for (const auto& piece : line.pieces) {
    sent += piece.bytes.size();
    if (sent <= before) {
      EXPECT_EQ(piece.time, sent * 10us);
    } else {
      EXPECT_EQ(piece.time, 10'001us + (sent - before) * 10us);
    }
  }
}

TEST_F(line_playing, at_session_speed_repetitions_follow_each_other) {
  run({play_speed::session, 1'000'000}, 2);
  EXPECT_GT(line.pieces.back().time, 30ms);
  EXPECT_LT(line.pieces.back().time, 31ms);
}

TEST_F(line_playing, a_line_too_slow_for_the_session_is_always_busy) {
  run({play_speed::session, 1'200});
  EXPECT_EQ(line.pieces.back().time.count(),
            static_cast<std::int64_t>(line.bytes().size() * 10'000'000'000 / 1'200));
}

TEST_F(line_playing, the_fastest_speed_never_sleeps) {
  run({play_speed::fastest, 1}, 1000);
  EXPECT_EQ(line.pieces.back().time, 0ns);
}

TEST_F(line_playing, an_interrupt_ends_it_and_counts_what_was_sent) {
  line.interrupt_at = 2;
  const play_result result = run({play_speed::line, 1'000'000});
  EXPECT_EQ(result.end, play_end::interrupted);
  EXPECT_EQ(result.bytes, 200U);
}

TEST_F(line_playing, a_reader_that_leaves_ends_it) {
  line.fail_at = 1;
  const play_result result = run({play_speed::line, 1'000'000});
  EXPECT_EQ(result.end, play_end::reader_gone);
  EXPECT_EQ(result.bytes, 100U);
}

TEST_F(line_playing, a_session_without_traces_sends_nothing) {
  sequence.traces.clear();
  const play_result result = run({play_speed::session, 1'000'000}, 5);
  EXPECT_EQ(result.end, play_end::complete);
  EXPECT_TRUE(line.pieces.empty());
}

}  // namespace
}  // namespace veltra::host
