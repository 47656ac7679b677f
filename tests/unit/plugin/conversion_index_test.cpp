#include "plugin/conversion_index.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "plugin/trace_db_config.h"

namespace {

using kovax::json;
using veltra::classify_buffer;
using veltra::peer_buffer_index;
using veltra::trace_type;
using veltra::trace_type_index;
using veltra::type_descriptor;

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
  EXPECT_EQ((*index.find(list, 1, 2))["n"], "a");
  EXPECT_EQ((*index.find(list, 1, 3))["n"], "b");
  EXPECT_EQ(index.find(list, 1, 4), nullptr);
  EXPECT_EQ(index.find(list, 2, 2), nullptr);
}

TEST(peer_buffer_index, an_id_that_is_no_number_is_an_error_for_what_comes_behind_it) {
  const auto list = elements(R"([{"id":1,"layer":1}, {"id":"x","layer":1}, {"id":2,"layer":1}])");
  peer_buffer_index index;
  index.build(list);
  EXPECT_NE(index.find(list, 1, 1), nullptr);
  EXPECT_THROW(index.find(list, 1, 2), json::type_error);
  EXPECT_THROW(index.find(list, 2, 1), json::type_error);
}

TEST(peer_buffer_index, a_layer_that_is_no_number_is_an_error_for_its_id) {
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

TEST(classify_buffer, tells_at_buffers_by_their_start) {
  EXPECT_TRUE(classify_buffer("AT_STRING_REQ").at_string);
  EXPECT_TRUE(classify_buffer("AT_STRING_REQ").request);
  EXPECT_FALSE(classify_buffer("AT_STRING_CNF").request);
  EXPECT_FALSE(classify_buffer("X_AT_STRING").at_string);
}

}  // namespace
