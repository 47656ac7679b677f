// What the decoder counts for diagnosis.
#include <gtest/gtest.h>

#include <algorithm>

#include "decoder/decoder.h"
#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

dekodrix_statistics statistics_of(const bytes& stream, std::size_t piece = 1000) {
  decoder subject;
  EXPECT_TRUE(subject.set_configuration(test_configuration));
  for (std::size_t at = 0; at < stream.size(); at += piece) {
    subject.append(std::span(stream).subspan(at, std::min(piece, stream.size() - at)));
    subject.parse();
  }
  return subject.statistics();
}

bytes frame(std::uint32_t sequence, std::uint32_t master_id = known_master) {
  return encode({.sequence = sequence, .payload = to_bytes("payload"), .master_id = master_id});
}

TEST(statistics, are_zero_at_the_start) {
  EXPECT_EQ(counters(decoder().statistics()), (counts{0, 0, 0, 0, 0}));
}

TEST(statistics, intact_frames_are_found_and_intact) {
  EXPECT_EQ(counters(statistics_of(frame(1) + frame(2) + frame(3))), (counts{3, 3, 0, 0, 0}));
}

TEST(statistics, frames_missing_by_sequence_number_are_not_counted) {
  EXPECT_EQ(counters(statistics_of(frame(1) + frame(9))), (counts{2, 2, 0, 0, 0}));
}

TEST(statistics, frames_of_unknown_masters_are_intact_ones) {
  const bytes stream = frame(1) + frame(2, unknown_master) + frame(3, alias_master);
  EXPECT_EQ(counters(statistics_of(stream)), (counts{3, 3, 0, 1, 0}));
}

TEST(statistics, without_a_configuration_every_master_is_unknown) {
  decoder subject;
  subject.append(frame(1) + frame(2));
  subject.parse();
  EXPECT_EQ(counters(subject.statistics()), (counts{2, 2, 0, 2, 0}));
}

TEST(statistics, damaged_frames_of_every_kind_are_found_and_damaged) {
  bytes wrong_check = frame(1);
  wrong_check[10] ^= 1;
  const bytes other_version =
      stuff(from_hex("02 00000000 00000000 0000000000000000") + from_hex("7A 61 D3 1D"));
  for (const bytes& damaged : {wrong_check, other_version, to_bytes("~short~"),
                               to_bytes("~a frame that its sender aborted}~")}) {
    EXPECT_EQ(counters(statistics_of(damaged)), (counts{1, 0, 1, 0, 0}));
  }
}

TEST(statistics, empty_and_unfinished_frames_are_not_counted) {
  EXPECT_EQ(counters(statistics_of(to_bytes("~~~~") + frame(1) + to_bytes("~~unfinished"))),
            (counts{1, 1, 0, 0, 0}));
}

TEST(statistics, bytes_before_the_first_flag_are_outside_frames) {
  EXPECT_EQ(counters(statistics_of(to_bytes("cut } off") + frame(1))), (counts{1, 1, 0, 0, 9}));
  EXPECT_EQ(counters(statistics_of(to_bytes("no flag at all"))), (counts{0, 0, 0, 0, 14}));
}

TEST(statistics, the_bytes_of_a_frame_beyond_the_limit_are_outside_frames) {
  const bytes flag = {frame_flag};
  const bytes limit(max_frame_size, 'x');
  const bytes escapes(max_frame_size, frame_escape);
  const bytes half(max_frame_size / 2, 'x');
  for (const std::size_t piece : {std::size_t{1000}, max_frame_size * 4}) {
    EXPECT_EQ(counters(statistics_of(flag + limit + flag, piece)), (counts{1, 0, 1, 0, 0}));
    EXPECT_EQ(counters(statistics_of(flag + limit + to_bytes("}a beyond~"), piece)),
              (counts{1, 0, 1, 0, 9}));
    // The limit holds for unstuffed bytes: two escape octets are one byte.
    EXPECT_EQ(counters(statistics_of(flag + escapes + half + to_bytes("beyond~"), piece)),
              (counts{1, 0, 1, 0, 6}));
  }
}

TEST(statistics, count_what_was_parsed) {
  decoder subject;
  subject.append(to_bytes("cut off") + frame(1) + to_bytes("~damaged~"));
  EXPECT_EQ(counters(subject.statistics()), (counts{0, 0, 0, 0, 0}));
  subject.parse();
  EXPECT_EQ(counters(subject.statistics()), (counts{2, 1, 1, 1, 7}));
}

TEST(statistics, the_frame_begun_is_unfinished_until_its_flag) {
  const bytes whole = frame(1) + to_bytes("~four}^");
  EXPECT_EQ(statistics_of(whole).bytes_of_unfinished_frame, 5U);
  EXPECT_EQ(statistics_of(whole + to_bytes("}")).bytes_of_unfinished_frame, 6U);
  EXPECT_EQ(statistics_of(whole + to_bytes("~")).bytes_of_unfinished_frame, 0U);
  EXPECT_EQ(statistics_of(whole, 1).bytes_of_unfinished_frame, 5U);
  EXPECT_EQ(statistics_of(to_bytes("no flag")).bytes_of_unfinished_frame, 0U);
}

TEST(statistics, every_cut_within_a_frame_shows) {
  const bytes stream = frame(1) + frame(2);
  const std::size_t start = frame(1).size() + 1;  // behind the flag
  for (std::size_t size = start + 1; size < stream.size(); ++size) {
    const bytes cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_NE(statistics_of(cut).bytes_of_unfinished_frame, 0U) << size;
  }
  EXPECT_EQ(statistics_of(stream).bytes_of_unfinished_frame, 0U);
}

TEST(statistics, a_reset_sets_them_to_zero) {
  decoder subject;
  subject.append(to_bytes("cut off") + frame(1) + to_bytes("~damaged~"));
  subject.parse();
  subject.reset();
  EXPECT_EQ(counters(subject.statistics()), (counts{0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace open_decoder::test
