// Decoding of intact streams, and the decoder's settings.
#include "decoder/decoder.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

using traces = std::vector<trace>;

// A stream with a bit of everything: plain and escaped payloads, an empty one, a
// missing frame, a damaged one, an unknown master, a restart.
bytes varied_stream() {
  bytes all_octets(256);
  for (std::size_t i = 0; i < all_octets.size(); ++i) {
    all_octets[i] = static_cast<std::uint8_t>(i);
  }
  return to_bytes("cut off~") + encode({.sequence = 1, .payload = to_bytes("first")}) +
         encode({.sequence = 2, .payload = all_octets, .timestamp = 0x7E7D7E7D}) +
         encode({.sequence = 4, .payload = {}, .master_id = alias_master}) + to_bytes("damaged}~") +
         encode({.sequence = 6, .payload = bytes(7, 0x7E)}) +
         encode({.sequence = 7, .payload = to_bytes("no"), .master_id = unknown_master}) +
         encode({.sequence = 0, .payload = bytes(40, 0x7D), .timestamp = 99}) +
         to_bytes("not finished");
}

traces varied_traces() {
  const auto in_one = decode(varied_stream());
  EXPECT_EQ(in_one.size(), 7U);  // five payloads, two losses
  return in_one;
}

TEST(decoder, a_frame_becomes_a_trace_with_all_its_fields) {
  const frame_fields fields = {
      .sequence = 0, .payload = to_bytes("payload"), .master_id = alias_master, .timestamp = 77};
  EXPECT_EQ(decode(encode(fields)), traces{expected(fields)});
}

TEST(decoder, traces_come_oldest_first) {
  const frame_fields first = {.sequence = 1, .payload = to_bytes("a"), .timestamp = 2};
  const frame_fields second = {.sequence = 2, .payload = to_bytes("b"), .timestamp = 1};
  EXPECT_EQ(decode(encode(first) + encode(second)), (traces{expected(first), expected(second)}));
}

TEST(decoder, an_empty_payload_is_a_trace_without_data) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.append(encode({.sequence = 0, .payload = {}}));
  subject.parse();
  const auto taken = subject.take_trace();
  ASSERT_NE(taken, nullptr);
  EXPECT_EQ(taken->data, nullptr);
  EXPECT_EQ(taken->data_length, 0U);
}

TEST(decoder, the_largest_payload_is_decoded) {
  const frame_fields fields = {.sequence = 0, .payload = bytes(max_payload_size, 0x7E)};
  EXPECT_EQ(decode(encode(fields), 1024), traces{expected(fields)});
}

TEST(decoder, every_piece_size_gives_the_same_traces) {
  const bytes stream = varied_stream();
  const auto in_one = varied_traces();
  for (std::size_t size = 1; size <= stream.size(); ++size) {
    EXPECT_EQ(decode(stream, size), in_one) << "in pieces of " << size;
  }
}

TEST(decoder, every_split_position_gives_the_same_traces) {
  const bytes stream = varied_stream();
  const auto in_one = varied_traces();
  for (std::size_t at = 0; at <= stream.size(); ++at) {
    decoder subject;
    ASSERT_TRUE(subject.set_configuration(test_configuration));
    subject.append(std::span(stream).first(at));
    subject.parse();
    subject.append(std::span(stream).subspan(at));
    subject.parse();
    EXPECT_EQ(take_all(subject), in_one) << "split at " << at;
  }
}

TEST(decoder, several_appends_before_a_parse_give_the_same_traces) {
  const bytes stream = varied_stream();
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  for (const std::uint8_t byte : stream) {
    subject.append({&byte, 1});
  }
  EXPECT_EQ(subject.trace_count(), 0U);
  subject.parse();
  EXPECT_EQ(take_all(subject), varied_traces());
}

TEST(decoder, parsing_again_without_new_bytes_gives_nothing_new) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.append(encode({.sequence = 0, .payload = to_bytes("a")}));
  subject.parse();
  subject.parse();
  EXPECT_EQ(subject.trace_count(), 1U);
}

TEST(decoder, the_count_is_of_the_traces_not_taken_yet) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  EXPECT_EQ(subject.trace_count(), 0U);
  EXPECT_EQ(subject.take_trace(), nullptr);
  subject.append(encode({.sequence = 0, .payload = {}}) + encode({.sequence = 1, .payload = {}}));
  subject.parse();
  EXPECT_EQ(subject.trace_count(), 2U);
  EXPECT_NE(subject.take_trace(), nullptr);
  EXPECT_EQ(subject.trace_count(), 1U);
  EXPECT_NE(subject.take_trace(), nullptr);
  EXPECT_EQ(subject.trace_count(), 0U);
  EXPECT_EQ(subject.take_trace(), nullptr);
}

TEST(decoder, frames_of_unknown_masters_are_dropped_without_a_report) {
  EXPECT_EQ(decode(encode({.sequence = 1, .payload = {}}) +
                   encode({.sequence = 2, .payload = {}, .master_id = unknown_master}) +
                   encode({.sequence = 3, .payload = {}}))
                .size(),
            2U);
}

TEST(decoder, without_a_configuration_nothing_is_decoded) {
  decoder subject;
  subject.append(encode({.sequence = 0, .payload = to_bytes("a")}) + to_bytes("damaged~"));
  subject.parse();
  EXPECT_EQ(subject.trace_count(), 0U);
}

TEST(decoder, a_refused_configuration_leaves_the_earlier_one) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  EXPECT_FALSE(subject.set_configuration("{}"));
  EXPECT_FALSE(subject.set_configuration(
      R"({"format":"veltra-frames","version":1,"masters":[{"id":77},{"id":-1}]})"));
  subject.append(encode({.sequence = 0, .payload = {}}) +
                 encode({.sequence = 1, .payload = {}, .master_id = unknown_master}));
  subject.parse();
  ASSERT_EQ(subject.trace_count(), 1U);
  EXPECT_EQ(subject.take_trace()->master_id, known_master);
}

TEST(decoder, a_new_configuration_holds_for_what_is_parsed_from_then_on) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.append(encode({.sequence = 0, .payload = {}}));
  subject.parse();
  ASSERT_TRUE(
      subject.set_configuration(R"({"format":"veltra-frames","version":1,"masters":[{"id":77}]})"));
  subject.append(encode({.sequence = 1, .payload = {}}) +
                 encode({.sequence = 2, .payload = {}, .master_id = unknown_master}));
  subject.parse();
  const auto taken = take_all(subject);
  ASSERT_EQ(taken.size(), 2U);
  EXPECT_EQ(taken[0].master_id, known_master);
  EXPECT_EQ(taken[1].master_id, unknown_master);
}

TEST(decoder, the_timebase_is_added_to_every_timestamp) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.set_timebase(1000);
  subject.append(encode({.sequence = 1, .payload = {}, .timestamp = 5}) +
                 encode({.sequence = 3, .payload = {}, .timestamp = 6}) + to_bytes("damaged~"));
  subject.parse();
  const auto taken = take_all(subject);
  ASSERT_EQ(taken.size(), 4U);
  EXPECT_EQ(taken[0].timestamp, 1005U);
  EXPECT_EQ(taken[1], loss_report(1, 0, 1006));
  EXPECT_EQ(taken[2].timestamp, 1006U);
  EXPECT_EQ(taken[3], loss_report(0, 1, 1006));
}

TEST(decoder, a_timestamp_beyond_64_bits_wraps) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.set_timebase(3);
  subject.append(encode({.sequence = 1, .payload = {}, .timestamp = 0xFFFFFFFFFFFFFFFF}));
  subject.parse();
  ASSERT_EQ(subject.trace_count(), 1U);
  EXPECT_EQ(subject.take_trace()->timestamp, 2U);
}

TEST(decoder, a_reset_forgets_bytes_traces_and_the_place_in_the_stream) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.append(encode({.sequence = 1, .payload = {}}) + to_bytes("~begun"));
  subject.parse();
  subject.append(to_bytes("~"));
  subject.reset();
  EXPECT_EQ(subject.trace_count(), 0U);
  // No flag has been seen and no sequence number is known: neither damage nor a gap
  // is reported.
  subject.append(to_bytes("cut off") + encode({.sequence = 9, .payload = to_bytes("a")}));
  subject.parse();
  EXPECT_EQ(take_all(subject), traces{expected({.sequence = 9, .payload = to_bytes("a")})});
}

TEST(decoder, a_reset_keeps_the_configuration_and_the_timebase) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.set_timebase(50);
  subject.reset();
  subject.append(encode({.sequence = 0, .payload = {}, .timestamp = 1}));
  subject.parse();
  ASSERT_EQ(subject.trace_count(), 1U);
  EXPECT_EQ(subject.take_trace()->timestamp, 51U);
}

TEST(decoder, a_reset_forgets_the_time_of_the_last_frame) {
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.append(encode({.sequence = 0, .payload = {}, .timestamp = 42}));
  subject.parse();
  subject.reset();
  subject.append(to_bytes("~damaged~"));
  subject.parse();
  EXPECT_EQ(take_all(subject), traces{loss_report(0, 1, 0)});
}

TEST(decoder, decoders_are_independent) {
  decoder one;
  decoder other;
  ASSERT_TRUE(one.set_configuration(test_configuration));
  ASSERT_TRUE(other.set_configuration(test_configuration));
  const bytes stream = encode({.sequence = 0, .payload = to_bytes("shared out")});
  one.append(std::span(stream).first(10));
  other.append(stream);
  one.parse();
  other.parse();
  EXPECT_EQ(one.trace_count(), 0U);
  EXPECT_EQ(other.trace_count(), 1U);
}

}  // namespace
}  // namespace open_decoder::test
