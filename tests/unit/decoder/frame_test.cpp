#include "decoder/frame.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

bytes payload_of(const frame& parsed) {
  return {parsed.payload.begin(), parsed.payload.end()};
}

TEST(frame, the_fields_are_read_little_endian) {
  const bytes unstuffed = encode_unstuffed({.sequence = 0x11223344,
                                            .payload = {0xAA, 0xBB},
                                            .master_id = 0xFEDCBA98,
                                            .timestamp = 0x0102030405060708});
  const auto parsed = parse_frame(unstuffed);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->sequence, 0x11223344U);
  EXPECT_EQ(parsed->master_id, 0xFEDCBA98U);
  EXPECT_EQ(parsed->timestamp, 0x0102030405060708U);
  EXPECT_EQ(payload_of(*parsed), (bytes{0xAA, 0xBB}));
}

TEST(frame, an_empty_payload_is_a_frame_of_21_bytes) {
  const bytes unstuffed = encode_unstuffed({.sequence = 5, .payload = {}});
  EXPECT_EQ(unstuffed.size(), 21U);
  const auto parsed = parse_frame(unstuffed);
  ASSERT_TRUE(parsed);
  EXPECT_TRUE(parsed->payload.empty());
}

TEST(frame, every_truncation_is_damaged) {
  const bytes unstuffed = encode_unstuffed({.sequence = 5, .payload = to_bytes("payload")});
  for (std::size_t size = 0; size < unstuffed.size(); ++size) {
    EXPECT_FALSE(parse_frame(std::span(unstuffed).first(size))) << size;
  }
}

TEST(frame, a_short_frame_with_a_good_check_is_damaged) {
  // The CRC of no bytes is 0; the other one is a frame without its last header byte.
  EXPECT_FALSE(parse_frame(from_hex("00 00 00 00")));
  EXPECT_FALSE(
      parse_frame(from_hex("01 00000000 00000000 00000000000000") + from_hex("C4 DA D3 42")));
}

TEST(frame, every_flipped_bit_is_damage) {
  const bytes unstuffed = encode_unstuffed({.sequence = 5, .payload = to_bytes("payload")});
  for (std::size_t bit = 0; bit < unstuffed.size() * 8; ++bit) {
    bytes flipped = unstuffed;
    flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ (1U << (bit % 8)));
    EXPECT_FALSE(parse_frame(flipped)) << "bit " << bit;
  }
}

TEST(frame, another_version_with_a_good_check_is_damaged) {
  // The check of the 17 bytes 02 00 .. 00, as zlib's crc32() has it.
  const bytes version_two =
      from_hex("02 00000000 00000000 0000000000000000") + from_hex("7A 61 D3 1D");
  const bytes version_one = encode_unstuffed({.sequence = 0, .payload = {}, .master_id = 0});
  ASSERT_TRUE(parse_frame(version_one));
  EXPECT_FALSE(parse_frame(version_two));
}

TEST(frame, the_largest_frame_is_taken_and_one_byte_more_is_not) {
  const bytes largest = encode_unstuffed({.sequence = 0, .payload = bytes(max_payload_size, 0x55)});
  EXPECT_EQ(largest.size(), 131072U);
  EXPECT_TRUE(parse_frame(largest));
  EXPECT_FALSE(
      parse_frame(encode_unstuffed({.sequence = 0, .payload = bytes(max_payload_size + 1, 0x55)})));
}

}  // namespace
}  // namespace open_decoder::test
