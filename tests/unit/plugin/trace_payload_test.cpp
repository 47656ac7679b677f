#include "plugin/trace_payload.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;
using veltra::parse_trace_payload;
using veltra::read_little_endian;
using veltra::scan_unsigned;
using veltra::up_to_nul;

TEST(trace_payload, a_trace_no_longer_than_its_trace_id_holds_nothing) {
  EXPECT_FALSE(parse_trace_payload("", 2, true));
  EXPECT_FALSE(parse_trace_payload("ab", 2, true));
  EXPECT_FALSE(parse_trace_payload("", 0, true));
  EXPECT_TRUE(parse_trace_payload("abc", 2, true));
}

TEST(trace_payload, is_trace_id_peer_layer_buffer_id_and_body) {
  const auto payload = parse_trace_payload(
      "\x01\x02\x07"
      "42\0body"sv,
      2, true);
  ASSERT_TRUE(payload);
  EXPECT_EQ(payload->trace_id, 0x0201U);
  EXPECT_EQ(payload->peer_layer_id, 7);
  EXPECT_EQ(payload->buffer_id, 42U);
  EXPECT_EQ(payload->body, "body");
}

TEST(trace_payload, swaps_big_endian_ids_of_2_and_4_bytes_only) {
  const std::string_view bytes = "\x01\x02\x03\x04\x05\x06";
  EXPECT_EQ(parse_trace_payload(bytes, 0, false)->trace_id, 0U);
  EXPECT_EQ(parse_trace_payload(bytes, 1, false)->trace_id, 0x01U);
  EXPECT_EQ(parse_trace_payload(bytes, 2, false)->trace_id, 0x0102U);
  EXPECT_EQ(parse_trace_payload(bytes, 3, false)->trace_id, 0x030201U);
  EXPECT_EQ(parse_trace_payload(bytes, 4, false)->trace_id, 0x01020304U);
  EXPECT_EQ(parse_trace_payload(bytes, 1, true)->trace_id, 0x01U);
  EXPECT_EQ(parse_trace_payload(bytes, 2, true)->trace_id, 0x0201U);
  EXPECT_EQ(parse_trace_payload(bytes, 3, true)->trace_id, 0x030201U);
  EXPECT_EQ(parse_trace_payload(bytes, 4, true)->trace_id, 0x04030201U);
}

TEST(trace_payload, a_buffer_id_text_that_does_not_end_in_the_trace_gives_no_id_and_no_body) {
  const auto payload = parse_trace_payload(
      "\x01\x02\x07"
      "42"sv,
      2, true);
  ASSERT_TRUE(payload);
  EXPECT_FALSE(payload->buffer_id);
  EXPECT_TRUE(payload->body.empty());
}

TEST(trace_payload, a_body_may_be_empty) {
  const auto payload = parse_trace_payload(
      "\x01\x02\x07"
      "42\0"sv,
      2, true);
  EXPECT_EQ(payload->buffer_id, 42U);
  EXPECT_TRUE(payload->body.empty());
}

TEST(trace_payload, a_buffer_id_text_is_cut_at_255_characters) {
  // The byte after the 255th is taken for the NUL.
  const std::string text = "\x01\x02\x07" + std::string(253, ' ') + "12" + "3body";
  const auto payload = parse_trace_payload(text, 2, true);
  EXPECT_EQ(payload->buffer_id, 12U);
  EXPECT_EQ(payload->body, "body");
}

TEST(trace_payload, of_every_length_is_read_within_its_end) {
  const std::string whole = "\x01\x02\x07" + std::string(300, '1');
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    // A copy of its own, so that a sanitizer sees a read behind the end.
    const std::string bytes = whole.substr(0, length);
    const auto payload = parse_trace_payload(bytes, 2, true);
    EXPECT_EQ(payload.has_value(), length > 2);
    EXPECT_EQ(payload && payload->buffer_id, length >= 3 + 255 + 1);
  }
}

TEST(scan_unsigned, reads_as_the_c_library_does) {
  for (const char* text :
       {"", "0", "7", "  12", "\t\n\v\f\r 12", "+5", "-1", "-0", "- 1", "+-1", "x", "12x", "0x10",
        "4294967295", "-4294967295", "007", "1 2", "\xA0 1"}) {
    unsigned expected = 0;
    std::sscanf(text, "%u", &expected);
    EXPECT_EQ(scan_unsigned(text), expected) << '"' << text << '"';
  }
}

// Where C libraries differ.
TEST(scan_unsigned, takes_the_low_32_bits_and_saturates_beyond_64) {
  EXPECT_EQ(scan_unsigned("4294967296"), 0U);
  EXPECT_EQ(scan_unsigned("4294967299"), 3U);
  EXPECT_EQ(scan_unsigned("18446744073709551615"), UINT32_MAX);
  EXPECT_EQ(scan_unsigned("18446744073709551616"), UINT32_MAX);
  EXPECT_EQ(scan_unsigned("99999999999999999999999"), UINT32_MAX);
  EXPECT_EQ(scan_unsigned("-18446744073709551615"), 1U);
  EXPECT_EQ(scan_unsigned("-18446744073709551616"), UINT32_MAX);
  EXPECT_EQ(scan_unsigned("-99999999999999999999999"), UINT32_MAX);
}

TEST(up_to_nul, is_the_whole_text_when_there_is_no_nul) {
  EXPECT_EQ(up_to_nul("abc"), "abc");
  EXPECT_EQ(up_to_nul("ab\0c"sv), "ab");
  EXPECT_EQ(up_to_nul("\0"sv), "");
  EXPECT_EQ(up_to_nul(""), "");
}

TEST(read_little_endian, gives_0_for_what_does_not_lie_wholly_inside) {
  const std::string_view bytes = "\x01\x02\x03\x04";
  EXPECT_EQ(read_little_endian(bytes, 0, 4), 0x04030201U);
  EXPECT_EQ(read_little_endian(bytes, 2, 2), 0x0403U);
  EXPECT_EQ(read_little_endian(bytes, 1, 0), 0U);
  EXPECT_EQ(read_little_endian(bytes, 3, 2), 0U);
  EXPECT_EQ(read_little_endian(bytes, 4, 1), 0U);
  EXPECT_EQ(read_little_endian(bytes, UINT64_MAX, 4), 0U);
}

}  // namespace
