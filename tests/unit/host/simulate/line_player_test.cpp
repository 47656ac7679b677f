#include "host/simulate/line_player.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using veltra::host::modem_line;
using veltra::host::play;
using veltra::host::play_end;
using veltra::host::play_pace;
using veltra::host::play_result;
using veltra::host::play_speed;
using veltra::host::trace_player;
using veltra::host::trace_sequence;

// A line whose clock only moves when somebody sleeps on it.
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

class line_player : public testing::Test {
 protected:
  play_result run(play_pace pace, std::uint64_t repetitions = 1) {
    trace_player player(sequence, repetitions);
    return play(player, pace, line);
  }

  trace_sequence sequence = three_traces();
  scripted_line line;
};

TEST_F(line_player, sends_what_a_file_would_hold_at_every_speed) {
  for (const auto speed : {play_speed::line, play_speed::session, play_speed::fastest}) {
    line.pieces.clear();
    const play_result result = run({speed, 1'000'000}, 3);
    EXPECT_EQ(result.end, play_end::complete);
    EXPECT_EQ(line.bytes(), as_a_file(sequence, 3));
    EXPECT_EQ(result.bytes, line.bytes().size());
  }
}

TEST_F(line_player, a_byte_takes_ten_bits_of_the_line) {
  run({play_speed::line, 1'000'000});
  std::size_t sent = 0;
  for (const auto& piece : line.pieces) {
    sent += piece.bytes.size();
    EXPECT_EQ(piece.time, sent * 10us);
    EXPECT_LE(piece.bytes.size(), 100U) << "a millisecond";
  }
  EXPECT_EQ(sent, as_a_file(sequence, 1).size());
}

TEST_F(line_player, at_the_speed_of_the_line_pieces_are_full) {
  run({play_speed::line, 1'000'000}, 50);
  for (std::size_t i = 0; i + 1 < line.pieces.size(); ++i) {
    EXPECT_EQ(line.pieces[i].bytes.size(), 100U);
  }
}

TEST_F(line_player, a_speed_that_is_no_round_number_stays_exact) {
  run({play_speed::line, 921'600}, 10'000);
  const auto bytes = line.bytes().size();
  const auto exact = static_cast<std::int64_t>(bytes * 10'000'000'000 / 921'600);
  EXPECT_EQ(line.pieces.back().time.count(), exact);
}

TEST_F(line_player, a_slow_line_sends_byte_by_byte) {
  run({play_speed::line, 300});
  EXPECT_EQ(line.pieces.front().bytes.size(), 1U);
  EXPECT_EQ(line.pieces.size(), as_a_file(sequence, 1).size());
}

TEST_F(line_player, what_comes_after_a_delay_is_not_late) {
  line.lateness = 5ms;
  run({play_speed::line, 1'000'000}, 10);
  EXPECT_EQ(line.pieces.front().time, 6ms);
  EXPECT_EQ(line.pieces.back().time, line.bytes().size() * 10us);
}

TEST_F(line_player, in_the_sessions_time_a_trace_waits_for_its_own) {
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

TEST_F(line_player, in_the_sessions_time_repetitions_follow_each_other) {
  run({play_speed::session, 1'000'000}, 2);
  EXPECT_GT(line.pieces.back().time, 30ms);
  EXPECT_LT(line.pieces.back().time, 31ms);
}

TEST_F(line_player, a_line_too_slow_for_the_session_is_always_busy) {
  run({play_speed::session, 1'200});
  EXPECT_EQ(line.pieces.back().time.count(),
            static_cast<std::int64_t>(line.bytes().size() * 10'000'000'000 / 1'200));
}

TEST_F(line_player, the_fastest_speed_never_sleeps) {
  run({play_speed::fastest, 1}, 1000);
  EXPECT_EQ(line.pieces.back().time, 0ns);
}

TEST_F(line_player, an_interrupt_ends_it_and_counts_what_was_sent) {
  line.interrupt_at = 2;
  const play_result result = run({play_speed::line, 1'000'000});
  EXPECT_EQ(result.end, play_end::interrupted);
  EXPECT_EQ(result.bytes, 200U);
}

TEST_F(line_player, a_reader_that_leaves_ends_it) {
  line.fail_at = 1;
  const play_result result = run({play_speed::line, 1'000'000});
  EXPECT_EQ(result.end, play_end::reader_gone);
  EXPECT_EQ(result.bytes, 100U);
}

TEST_F(line_player, a_session_without_traces_sends_nothing) {
  sequence.traces.clear();
  const play_result result = run({play_speed::session, 1'000'000}, 5);
  EXPECT_EQ(result.end, play_end::complete);
  EXPECT_TRUE(line.pieces.empty());
}

}  // namespace
