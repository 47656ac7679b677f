// The rules that go by the buffer's name alone: IP packets and TLS key material.
#include <ostream>
#include <string>

#include "tests/abi/conversion_fixture.h"
#include "tests/support/test_names.h"

namespace {

using kovax::json;
using test_support::build_trace;
namespace id = test_support::id;

class conversion_network_tls_test : public conversion_fixture {};

struct naming {
  const char* buffer_name;
  const char* result;  // layer and category, or "nothing"
};

void PrintTo(const naming& value, std::ostream* out) {
  *out << value.buffer_name;
}

class buffer_name_test : public conversion_fixture, public testing::WithParamInterface<naming> {};

TEST_P(buffer_name_test, decides_the_layer) {
  database["buffers"] = json::parse(R"([{"id": 9}])");
  database["buffers"][0]["name"] = GetParam().buffer_name;
  const std::string expected = GetParam().result;
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = "9"}, "body")),
            expected == "nothing" ? expected : expected + "|body");
}

INSTANTIATE_TEST_SUITE_P(
    names, buffer_name_test,
    testing::Values(
        naming{"EPDCP_UP_PACKET", "ip|network"}, naming{"xEPDCP_UP_PACKETx", "ip|network"},
        naming{"L2 EPDCP_UP_PACKET (uplink)", "ip|network"}, naming{"EPDCP_UP_PACKE", "nothing"},
        naming{"epdcp_up_packet", "nothing"}, naming{"EPDCP UP PACKET", "nothing"},
        naming{"TLS_HANDSHAKE_RANDBYTES", "handshake_randbytes|tls"},
        naming{"MY_TLS_HANDSHAKE_RANDBYTES_2", "handshake_randbytes|tls"},
        naming{"TLS_HANDSHAKE", "nothing"}, naming{"tls_handshake_randbytes", "nothing"},
        naming{"TLS_SESSION_MASTER", "session_master|tls"},
        naming{"TLS_SESSION_MASTER_KEY", "session_master|tls"}, naming{"TLS_SESSION", "nothing"},
        // the order of the rules
        naming{"TLS_SESSION_MASTER EPDCP_UP_PACKET", "ip|network"},
        naming{"TLS_HANDSHAKE_RANDBYTES EPDCP_UP_PACKET", "ip|network"},
        naming{"TLS_SESSION_MASTER TLS_HANDSHAKE_RANDBYTES", "handshake_randbytes|tls"},
        naming{"", "nothing"}),
    test_support::named_by_value());

struct rule {
  const char* buffer_id;
  const char* result;
};

void PrintTo(const rule& value, std::ostream* out) {
  *out << value.result;
}

class fast_rule_test : public conversion_fixture, public testing::WithParamInterface<rule> {
 protected:
  std::string with_body(const std::string& body) const { return GetParam().result + ("|" + body); }
};

TEST_P(fast_rule_test, works_without_type_mapping) {
  database["meta"].erase("type_mapping");
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = GetParam().buffer_id}, "b")), with_body("b"));
}

TEST_P(fast_rule_test, does_not_care_for_the_trace_type) {
  EXPECT_EQ(
      conversion_of(build_trace({.id = id::peer_dump, .buffer_id = GetParam().buffer_id}, "b")),
      with_body("b"));
}

TEST_P(fast_rule_test, comes_before_the_rules_for_formatted_traces) {
  EXPECT_EQ(
      conversion_of(build_trace({.id = id::formatted_at, .buffer_id = GetParam().buffer_id}, "b")),
      with_body("b"));
}

TEST_P(fast_rule_test, does_not_care_for_the_peer_layer) {
  EXPECT_EQ(
      conversion_of(build_trace(
          {.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = GetParam().buffer_id},
          "b")),
      with_body("b"));
}

TEST_P(fast_rule_test, keeps_nul_bytes_in_the_body) {
  const std::string body("\0a\0\0b\0", 6);
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = GetParam().buffer_id}, body)), with_body(body));
}

TEST_P(fast_rule_test, gives_an_empty_packet_for_an_empty_body) {
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = GetParam().buffer_id}, "")), with_body(""));
}

INSTANTIATE_TEST_SUITE_P(rules, fast_rule_test,
                         testing::Values(rule{id::ip_buffer, "ip|network"},
                                         rule{id::randbytes_buffer, "handshake_randbytes|tls"},
                                         rule{id::session_master_buffer, "session_master|tls"}),
                         test_support::named_by_value());

TEST_F(conversion_network_tls_test, other_buffers_make_no_packet_by_their_name) {
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = id::plain_buffer}, "x")), "nothing");
}

TEST_F(conversion_network_tls_test, an_at_buffer_needs_type_mapping) {
  database["meta"].erase("type_mapping");
  EXPECT_EQ(
      conversion_of(build_trace({.id = id::peer_dump, .buffer_id = id::at_answer_buffer}, "OK")),
      "nothing");
}

}  // namespace
