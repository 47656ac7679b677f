// What the conversion of a trace reads first: its payload's header, and the look-up tables.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/conversion_index.h"
#include "plugin/trace_db_config.h"
#include "plugin/trace_payload.h"

namespace {

using kovax::json;
using namespace std::string_literals;
using namespace std::string_view_literals;
using veltra::classify_buffer;
using veltra::parse_trace_payload;
using veltra::peer_buffer_index;
using veltra::read_little_endian;
using veltra::scan_unsigned;
using veltra::trace_type;
using veltra::trace_type_index;
using veltra::type_descriptor;
using veltra::up_to_nul;

// --- the header of a payload ---------------------------------------------------------

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

// --- the look-up tables --------------------------------------------------------------

type_descriptor one(const char* type, std::uint32_t id) {
  return {type, id, std::nullopt};
}
type_descriptor range(const char* type, std::uint32_t min, std::uint32_t max) {
  return {type, std::nullopt, type_descriptor::range{max, min}};
}

TEST(trace_type_index, a_range_includes_both_ends) {
  trace_type_index index;
  index.build({range("peer_dump", 10, 20)});
  EXPECT_EQ(index.find(9), trace_type::other);
  EXPECT_EQ(index.find(10), trace_type::peer_dump);
  EXPECT_EQ(index.find(15), trace_type::peer_dump);
  EXPECT_EQ(index.find(20), trace_type::peer_dump);
  EXPECT_EQ(index.find(21), trace_type::other);
}

TEST(trace_type_index, the_first_condition_that_fits_decides_also_when_it_has_no_rule) {
  trace_type_index index;
  index.build({one("something_else", 15), range("formatted", 10, 20), range("peer_dump", 0, 30)});
  EXPECT_EQ(index.find(15), trace_type::other);
  EXPECT_EQ(index.find(14), trace_type::formatted);
  EXPECT_EQ(index.find(16), trace_type::formatted);
  EXPECT_EQ(index.find(9), trace_type::peer_dump);
  EXPECT_EQ(index.find(21), trace_type::peer_dump);
}

TEST(trace_type_index, holds_at_the_limits_of_the_ids) {
  trace_type_index index;
  index.build({range("peer_dump", 0, 0), range("formatted", 1, UINT32_MAX)});
  EXPECT_EQ(index.find(0), trace_type::peer_dump);
  EXPECT_EQ(index.find(1), trace_type::formatted);
  EXPECT_EQ(index.find(UINT32_MAX), trace_type::formatted);
}

TEST(trace_type_index, a_range_that_ends_before_it_begins_fits_nothing) {
  trace_type_index index;
  index.build({range("peer_dump", 20, 10)});
  for (const std::uint32_t id : {9U, 10U, 15U, 20U, 21U}) {
    EXPECT_EQ(index.find(id), trace_type::other);
  }
}

TEST(trace_type_index, agrees_with_a_walk_through_the_conditions) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    std::vector<type_descriptor> descriptors;
    const char* const names[] = {"peer_dump", "formatted", "else"};
    for (unsigned count = random() % 8; count > 0; --count) {
      const char* name = names[random() % 3];
      const auto a = static_cast<std::uint32_t>(random() % 20);
      const auto b = static_cast<std::uint32_t>(random() % 20);
      descriptors.push_back(random() % 2 == 0 ? one(name, a) : range(name, a, b));
    }
    trace_type_index index;
    index.build(descriptors);
    for (std::uint32_t id = 0; id < 22; ++id) {
      trace_type expected = trace_type::other;
      for (const type_descriptor& descriptor : descriptors) {
        if (descriptor.trace_id
                ? *descriptor.trace_id == id
                : descriptor.id_range->min <= id && id <= descriptor.id_range->max) {
          if (descriptor.type == "peer_dump") expected = trace_type::peer_dump;
          if (descriptor.type == "formatted") expected = trace_type::formatted;
          break;
        }
      }
      EXPECT_EQ(index.find(id), expected) << "round " << round << ", id " << id;
    }
  }
}

std::vector<json> elements(const char* text) {
  return json::parse(text);
}

TEST(peer_buffer_index, finds_the_first_element_with_both_ids) {
  const auto list = elements(R"([
      5, {"layer":1}, {"id":1}, {"id":1,"layer":2,"n":"a"}, {"id":1,"layer":3,"n":"b"},
      {"id":1,"layer":2,"n":"c"}])");
  peer_buffer_index index;
  index.build(list);
  ASSERT_NE(index.find(list, 1, 2), nullptr);
  EXPECT_EQ(list[index.find(list, 1, 2)->position]["n"], "a");
  EXPECT_EQ(list[index.find(list, 1, 3)->position]["n"], "b");
  EXPECT_EQ(index.find(list, 1, 4), nullptr);
  EXPECT_EQ(index.find(list, 2, 2), nullptr);
}

TEST(peer_buffer_index, an_id_that_is_not_a_number_is_an_error_for_what_comes_behind_it) {
  const auto list = elements(R"([{"id":1,"layer":1}, {"id":"x","layer":1}, {"id":2,"layer":1}])");
  peer_buffer_index index;
  index.build(list);
  EXPECT_NE(index.find(list, 1, 1), nullptr);
  EXPECT_THROW(index.find(list, 1, 2), json::type_error);
  EXPECT_THROW(index.find(list, 2, 1), json::type_error);
}

TEST(peer_buffer_index, a_layer_that_is_not_a_number_is_an_error_for_its_id) {
  const auto list = elements(R"([{"id":1,"layer":[]}, {"id":2,"layer":1}])");
  peer_buffer_index index;
  index.build(list);
  EXPECT_THROW(index.find(list, 1, 1), json::type_error);
  EXPECT_NE(index.find(list, 2, 1), nullptr);
}

TEST(classify_buffer, the_network_rule_comes_before_the_tls_rules) {
  using rule = veltra::buffer_traits::rule;
  EXPECT_EQ(classify_buffer("x_EPDCP_UP_PACKET_y").payload, rule::network);
  EXPECT_EQ(classify_buffer("TLS_SESSION_MASTER_EPDCP_UP_PACKET").payload, rule::network);
  EXPECT_EQ(classify_buffer("a_TLS_HANDSHAKE_RANDBYTES").payload, rule::tls_handshake_randbytes);
  EXPECT_EQ(classify_buffer("TLS_SESSION_MASTER1").payload, rule::tls_session_master);
  EXPECT_EQ(classify_buffer("TLS_SESSION_MASTER_TLS_HANDSHAKE_RANDBYTES").payload,
            rule::tls_handshake_randbytes);
  EXPECT_EQ(classify_buffer("tls_session_master").payload, rule::none);
}

TEST(classify_buffer, knows_at_buffers_by_their_start) {
  EXPECT_TRUE(classify_buffer("AT_STRING_REQ").at_string);
  EXPECT_TRUE(classify_buffer("AT_STRING_REQ").request);
  EXPECT_FALSE(classify_buffer("AT_STRING_CNF").request);
  EXPECT_FALSE(classify_buffer("X_AT_STRING").at_string);
}

}  // namespace
