// Decoding of streams with losses: only the frames that are hit are lost, and every
// loss is reported.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "decoder/decoder.h"
#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

using traces = std::vector<trace>;

frame_fields numbered(std::uint32_t sequence) {
  return {.sequence = sequence,
          .payload = to_bytes("payload }~ " + std::to_string(sequence)),
          .timestamp = 1000 + sequence};
}

// The frames `first` to `last`, each with flags of its own.
bytes frames(std::uint32_t first, std::uint32_t last) {
  bytes stream;
  for (std::uint32_t i = first; i <= last; ++i) {
    stream = std::move(stream) + encode(numbered(i));
  }
  return stream;
}

traces expected_without(std::uint32_t first, std::uint32_t last,
                        const std::vector<std::uint32_t>& lost) {
  traces all;
  for (std::uint32_t i = first; i <= last; ++i) {
    if (std::find(lost.begin(), lost.end(), i) == lost.end()) {
      all.push_back(expected(numbered(i)));
    }
  }
  return all;
}

bytes without(const bytes& stream, std::size_t from, std::size_t to) {
  bytes cut = stream;
  cut.erase(cut.begin() + static_cast<std::ptrdiff_t>(from),
            cut.begin() + static_cast<std::ptrdiff_t>(to));
  return cut;
}

TEST(damage, an_intact_stream_reports_no_loss) {
  EXPECT_EQ(decode(frames(1, 5)), expected_without(1, 5, {}));
}

TEST(damage, every_flipped_bit_costs_only_the_frame_it_hits) {
  const bytes before = frames(1, 2);
  const bytes hit = encode(numbered(3));
  const bytes after = frames(4, 5);
  for (std::size_t bit = 0; bit < hit.size() * 8; ++bit) {
    bytes flipped = hit;
    flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ (1U << (bit % 8)));
    const auto result = separate(decode(before + flipped + after));
    EXPECT_EQ(result.traces, expected_without(1, 5, {3})) << "bit " << bit;
    // A byte that turned into a flag cuts the frame in two damaged ones.
    EXPECT_GE(result.damaged, 1U) << "bit " << bit;
    EXPECT_LE(result.damaged, 2U) << "bit " << bit;
    EXPECT_EQ(result.missing, 0U) << "bit " << bit;
  }
}

TEST(damage, a_flipped_bit_in_a_shared_flag_costs_the_two_frames_it_joins) {
  bytes first = encode(numbered(2));
  first.pop_back();
  const bytes second = encode(numbered(3));
  for (unsigned bit = 0; bit < 8; ++bit) {
    bytes merged = second;
    merged.front() = static_cast<std::uint8_t>(merged.front() ^ (1U << bit));
    const auto result = separate(decode(frames(1, 1) + first + merged + frames(4, 5)));
    EXPECT_EQ(result.traces, expected_without(1, 5, {2, 3}));
    EXPECT_EQ(result.damaged + result.missing, 2U);
  }
}

TEST(damage, lost_bytes_cost_only_the_frames_they_belong_to) {
  const bytes before = frames(1, 2);
  const bytes hit = frames(3, 4);
  const bytes after = frames(5, 6);
  const std::size_t border = encode(numbered(3)).size();
  for (std::size_t from = 0; from < hit.size(); ++from) {
    for (std::size_t to = from + 1; to <= hit.size(); ++to) {
      const auto result = separate(decode(before + without(hit, from, to) + after));
      std::vector<std::uint32_t> lost;
      for (const std::uint32_t sequence : {3U, 4U}) {
        if (std::find(result.traces.begin(), result.traces.end(), expected(numbered(sequence))) ==
            result.traces.end()) {
          lost.push_back(sequence);
        }
      }
      // No other trace is lost, none is invented, and each loss is reported once.
      ASSERT_EQ(result.traces, expected_without(1, 6, lost)) << "lost " << from << " to " << to;
      ASSERT_EQ(result.damaged + result.missing, lost.size()) << "lost " << from << " to " << to;
      // A frame is hit if bytes of it are cut, or both flags between the two.
      const bool joined = from < border && to > border;
      if (!joined && to <= border + 1) {
        ASSERT_EQ(std::count(lost.begin(), lost.end(), 4U), 0) << "lost " << from << " to " << to;
      }
      if (!joined && from >= border - 1) {
        ASSERT_EQ(std::count(lost.begin(), lost.end(), 3U), 0) << "lost " << from << " to " << to;
      }
    }
  }
}

TEST(damage, a_start_in_mid_frame_costs_only_that_frame_and_is_not_a_loss) {
  const bytes stream = frames(7, 10);
  const std::size_t first_size = encode(numbered(7)).size();
  for (std::size_t start = 1; start <= first_size; ++start) {
    EXPECT_EQ(decode(std::span(stream).subspan(start)), expected_without(7, 10, {7}))
        << "from byte " << start;
  }
}

TEST(damage, lost_frames_are_reported_before_the_frame_that_shows_the_gap) {
  EXPECT_EQ(decode(frames(1, 1) + frames(4, 4)),
            (traces{expected(numbered(1)), loss_report(2, 0, 1004), expected(numbered(4))}));
}

TEST(damage, a_damaged_frame_is_reported_at_once_with_the_time_of_the_last_intact_one) {
  EXPECT_EQ(decode(frames(1, 1) + to_bytes("~damaged~")),
            (traces{expected(numbered(1)), loss_report(0, 1, 1001)}));
}

TEST(damage, a_damaged_frame_before_any_intact_one_is_reported_at_time_0) {
  EXPECT_EQ(decode(to_bytes("~damaged~") + frames(5, 5)),
            (traces{loss_report(0, 1, 0), expected(numbered(5))}));
}

TEST(damage, the_gap_that_a_damaged_frame_leaves_is_not_reported_again) {
  EXPECT_EQ(decode(frames(1, 1) + to_bytes("~damaged~") + frames(3, 3)),
            (traces{expected(numbered(1)), loss_report(0, 1, 1001), expected(numbered(3))}));
}

TEST(damage, a_gap_wider_than_the_damaged_frames_is_reported_for_the_rest) {
  EXPECT_EQ(decode(frames(1, 1) + to_bytes("~damaged~") + frames(5, 5)),
            (traces{expected(numbered(1)), loss_report(0, 1, 1001), loss_report(2, 0, 1005),
                    expected(numbered(5))}));
}

TEST(damage, an_aborted_frame_is_damaged) {
  EXPECT_EQ(decode(frames(1, 1) + to_bytes("~aborted}~") + frames(2, 2)),
            (traces{expected(numbered(1)), loss_report(0, 1, 1001), expected(numbered(2))}));
}

TEST(damage, a_frame_that_is_too_long_is_one_damaged_frame) {
  const bytes too_long = encode({.sequence = 2, .payload = bytes(max_payload_size + 1, 'x')});
  for (const std::size_t piece : {std::size_t{1000}, too_long.size() * 2}) {
    EXPECT_EQ(decode(frames(1, 1) + too_long + frames(3, 3), piece),
              (traces{expected(numbered(1)), loss_report(0, 1, 1001), expected(numbered(3))}));
  }
}

TEST(damage, the_sequence_number_of_an_unknown_master_counts) {
  const auto unknown = [](std::uint32_t sequence) {
    return encode({.sequence = sequence,
                   .payload = to_bytes("x"),
                   .master_id = unknown_master,
                   .timestamp = 50});
  };
  EXPECT_EQ(decode(frames(1, 1) + unknown(2) + frames(3, 3)), expected_without(1, 3, {2}));
  EXPECT_EQ(decode(frames(1, 1) + unknown(4) + frames(5, 5)),
            (traces{expected(numbered(1)), loss_report(2, 0, 50), expected(numbered(5))}));
}

TEST(damage, a_restart_of_the_sender_and_a_wrap_of_its_counter_are_not_losses) {
  EXPECT_EQ(decode(frames(7, 8) + frames(0, 2)).size(), 5U);
  EXPECT_EQ(decode(frames(7, 8) + frames(3, 4)).size(), 4U);
  EXPECT_EQ(decode(encode(numbered(0xFFFFFFFF)) + frames(1, 2)).size(), 3U);
}

TEST(damage, without_a_loss_trace_in_the_configuration_losses_are_not_reported) {
  decoder subject;
  ASSERT_TRUE(
      subject.set_configuration(R"({"format":"veltra-frames","version":1,"masters":[{"id":3}]})"));
  subject.append(frames(1, 1) + to_bytes("~damaged~") + frames(9, 9));
  subject.parse();
  EXPECT_EQ(take_all(subject), expected_without(1, 9, {2, 3, 4, 5, 6, 7, 8}));
}

TEST(damage, losses_from_before_a_loss_trace_was_configured_are_not_reported_later) {
  decoder subject;
  ASSERT_TRUE(
      subject.set_configuration(R"({"format":"veltra-frames","version":1,"masters":[{"id":3}]})"));
  subject.append(frames(1, 1) + to_bytes("~damaged~") + frames(9, 9));
  subject.parse();
  take_all(subject);
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.append(frames(10, 10));
  subject.parse();
  EXPECT_EQ(take_all(subject), expected_without(10, 10, {}));
}

TEST(damage, a_big_endian_trace_id_leads_little_endian_counts) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(
      R"({"format":"veltra-frames","version":1,"masters":[{"id":3}],"loss_trace":)"
      R"({"master_id":3,"trace_id":4660,"trace_id_size":4,"endianness":"big"}})"));
  subject.append(frames(1, 1) + frames(0x103, 0x103));
  subject.parse();
  const auto taken = take_all(subject);
  ASSERT_EQ(taken.size(), 3U);
  EXPECT_EQ(taken[1].data, from_hex("00001234 01010000 00000000"));
}

TEST(damage, random_noise_gives_no_trace_but_loss_reports) {
  std::mt19937 random(20240229);  // NOLINT(cert-msc51-cpp): the same noise every time
  bytes noise(200000);
  std::generate(noise.begin(), noise.end(),
                [&random] { return static_cast<std::uint8_t>(random()); });
  const auto in_one = decode(noise);
  const auto result = separate(in_one);
  EXPECT_TRUE(result.traces.empty());
  EXPECT_EQ(result.missing, 0U);
  EXPECT_GT(result.damaged, 100U);
  EXPECT_EQ(decode(noise, 1), in_one);
  EXPECT_EQ(decode(noise, 1024), in_one);
}

TEST(damage, a_stream_after_noise_is_decoded) {
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same noise every time
  bytes noise(5000);
  std::generate(noise.begin(), noise.end(),
                [&random] { return static_cast<std::uint8_t>(random()); });
  EXPECT_EQ(separate(decode(noise + frames(1, 5))).traces, expected_without(1, 5, {}));
}

}  // namespace
}  // namespace open_decoder::test
