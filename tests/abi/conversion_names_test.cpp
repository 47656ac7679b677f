// Conversions that go by a buffer: its name, or the peer layer that it belongs to.
#include <ostream>
#include <string>

#include "tests/abi/conversion_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;

// --- the buffer's name ---------------------------------------------------------------

namespace id = test_support::id;

class conversion_network_tls_test : public conversion_fixture {};

struct naming {
  const char* buffer_name;
  const char* result;  // layer and category, or "nothing"
};

void PrintTo(const naming& value, std::ostream* out) {
  *out << value.buffer_name;
}

class buffer_name_test : public conversion_fixture, public test_support::given_value<naming> {};

TEST_GIVEN(buffer_name_test, decides_the_layer) {
  database["buffers"] = json::parse(R"([{"id": 9}])");
  database["buffers"][0]["name"] = given().buffer_name;
  const std::string expected = given().result;
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = "9"}, "body")),
            expected == "nothing" ? expected : expected + "|body");
}

GIVEN(names, buffer_name_test,
      {naming{"EPDCP_UP_PACKET", "ip|network"}, naming{"xEPDCP_UP_PACKETx", "ip|network"},
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
       naming{"", "nothing"}});

struct rule {
  const char* buffer_id;
  const char* result;
};

void PrintTo(const rule& value, std::ostream* out) {
  *out << value.result;
}

class fast_rule_test : public conversion_fixture, public test_support::given_value<rule> {
 protected:
  std::string with_body(const std::string& body) const { return given().result + ("|" + body); }
};

TEST_GIVEN(fast_rule_test, works_without_type_mapping) {
  database["meta"].erase("type_mapping");
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = given().buffer_id}, "b")), with_body("b"));
}

TEST_GIVEN(fast_rule_test, does_not_care_for_the_trace_type) {
  EXPECT_EQ(conversion_of(build_trace({.id = id::peer_dump, .buffer_id = given().buffer_id}, "b")),
            with_body("b"));
}

TEST_GIVEN(fast_rule_test, comes_before_the_rules_for_formatted_traces) {
  EXPECT_EQ(
      conversion_of(build_trace({.id = id::formatted_at, .buffer_id = given().buffer_id}, "b")),
      with_body("b"));
}

TEST_GIVEN(fast_rule_test, does_not_care_for_the_peer_layer) {
  EXPECT_EQ(
      conversion_of(build_trace(
          {.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = given().buffer_id}, "b")),
      with_body("b"));
}

TEST_GIVEN(fast_rule_test, keeps_nul_bytes_in_the_body) {
  const std::string body("\0a\0\0b\0", 6);
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = given().buffer_id}, body)), with_body(body));
}

TEST_GIVEN(fast_rule_test, gives_an_empty_packet_for_an_empty_body) {
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = given().buffer_id}, "")), with_body(""));
}

GIVEN(rules, fast_rule_test,
      {rule{id::ip_buffer, "ip|network"}, rule{id::randbytes_buffer, "handshake_randbytes|tls"},
       rule{id::session_master_buffer, "session_master|tls"}});

TEST_F(conversion_network_tls_test, other_buffers_make_no_packet_by_their_name) {
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = id::plain_buffer}, "x")), "nothing");
}

TEST_F(conversion_network_tls_test, an_at_buffer_needs_type_mapping) {
  database["meta"].erase("type_mapping");
  EXPECT_EQ(
      conversion_of(build_trace({.id = id::peer_dump, .buffer_id = id::at_answer_buffer}, "OK")),
      "nothing");
}

// --- LTE RRC and NAS messages in peer dumps ------------------------------------------

namespace id = test_support::id;

class conversion_peer_test : public conversion_fixture {
 protected:
  // The conversion of a peer dump of this layer and buffer.
  std::string dump(std::uint8_t layer, const std::string& buffer_id,
                   const std::string& body = "body") {
    return conversion_of(
        build_trace({.id = id::peer_dump, .peer_layer = layer, .buffer_id = buffer_id}, body));
  }

  std::string dump_of_type(const json& type) {
    database["peer_buffers"][0]["type"] = type;
    return dump(id::rrc_layer, id::dl_dcch_buffer);
  }
};

struct typing {
  const char* type;
  const char* layer;  // "nothing" for no packet
};

void PrintTo(const typing& value, std::ostream* out) {
  *out << value.type;
}

class peer_type_test : public conversion_peer_test, public test_support::given_value<typing> {};

TEST_GIVEN(peer_type_test, gives_the_layer) {
  const std::string layer = given().layer;
  EXPECT_EQ(dump_of_type(given().type), layer == "nothing" ? layer : layer + "|network|body");
}

GIVEN(types, peer_type_test,
      {// two tokens
       typing{"ASN_PCCH_nb", "lte_rrc.PCCH.nb"}, typing{"ASN_PCCH_NB", "lte_rrc.PCCH_NB"},
       typing{"ASN_PCCH_Message", "lte_rrc.PCCH_Message"}, typing{"ASN_a_b", "lte_rrc.a_b"},
       typing{"ASN_PCCH_nbx", "lte_rrc.PCCH_nbx"}, typing{"ASN_PCCH_sch", "lte_rrc.PCCH_sch"},
       // three tokens
       typing{"ASN_DL_DCCH_Message", "lte_rrc.DL_DCCH.Message"},
       typing{"ASN_BCCH_DL_sch", "lte_rrc.BCCH_DL_sch"},
       typing{"ASN_BCCH_DL_SCH", "lte_rrc.BCCH_DL.SCH"},
       typing{"ASN_UL_CCCH_nb", "lte_rrc.UL_CCCH.nb"},
       typing{"ASN_BCCH_DL_schx", "lte_rrc.BCCH_DL.schx"},
       // four tokens
       typing{"ASN_BCCH_DL_SCH_Message", "lte_rrc.BCCH_DL_SCH.Message"},
       typing{"ASN_BCCH_DL_SCH_nb", "lte_rrc.BCCH_DL_SCH.nb"},
       typing{"ASN_a_b_c_sch", "lte_rrc.a_b_c.sch"},
       // five and more say no more than the first
       typing{"ASN_a_b_c_d_e", "lte_rrc.a"}, typing{"ASN_a_b_c_d_e_f_g", "lte_rrc.a"},
       // too few
       typing{"ASN_X", "nothing"}, typing{"ASN_", "nothing"}, typing{"ASN____", "nothing"},
       typing{"ASN_X_", "nothing"}, typing{"ASN__X", "nothing"},
       // runs of underscores separate like one
       typing{"ASN__DL__DCCH___Message_", "lte_rrc.DL_DCCH.Message"},
       typing{"ASN_PCCH__nb", "lte_rrc.PCCH.nb"},
       // everything but the underscore belongs to a token
       typing{"ASN_DL DCCH_Message-1.5", "lte_rrc.DL DCCH_Message-1.5"},
       typing{"ASN_\xC3\xA4_\n", "lte_rrc.\xC3\xA4_\n"},
       // the start must be exact
       typing{"asn_DL_DCCH", "nothing"}, typing{"ASN", "nothing"}, typing{"ASNDL_DCCH", "nothing"},
       typing{"xASN_DL_DCCH", "nothing"}, typing{" ASN_DL_DCCH", "nothing"},
       // NAS
       typing{"NAS_PDU", "nas-eps"}, typing{"NAS_PDU_PLAIN", "nas-eps"},
       typing{"NAS_PDUx", "nas-eps"}, typing{"NAS_PD", "nothing"}, typing{"nas_pdu", "nothing"},
       typing{"xNAS_PDU", "nothing"}, typing{"ASN_NAS_PDU", "lte_rrc.NAS_PDU"},
       // neither
       typing{"", "nothing"}, typing{"OTHER", "nothing"}});

TEST_F(conversion_peer_test, a_long_type_keeps_its_tokens_whole) {
  const std::string token(20000, 'T');
  EXPECT_EQ(dump_of_type("ASN_" + token + "_Message"),
            "lte_rrc." + token + "_Message|network|body");
}

TEST_F(conversion_peer_test, a_type_of_many_tokens_says_only_the_first) {
  std::string type = "ASN_first";
  for (int index = 0; index < 20000; ++index) type += "_t";
  EXPECT_EQ(dump_of_type(type), "lte_rrc.first|network|body");
}

// --- which peer buffer ---------------------------------------------------------------------

TEST_F(conversion_peer_test, rrc_and_nas_by_layer_and_buffer) {
  const auto packets = convert(
      database,
      {build_trace({.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = "70"}, "rrc"),
       build_trace({.id = id::peer_dump, .peer_layer = id::nas_layer, .buffer_id = "80"}, "nas")});
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].format, "lte_rrc.DL_DCCH.Message");
  EXPECT_EQ(packets[0].data, "rrc");
  EXPECT_EQ(packets[1].format, "nas-eps");
  EXPECT_EQ(packets[1].data, "nas");
}

TEST_F(conversion_peer_test, each_rrc_message_has_its_own_layer_name) {
  database["peer_buffers"].push_back(
      json::parse(R"({"id": 71, "layer": 7, "name": "x", "type": "ASN_UL_CCCH_Message"})"));
  const auto packets = convert(
      database,
      {build_trace({.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = "70"}, "1"),
       build_trace({.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = "71"}, "2"),
       build_trace({.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = "70"}, "3")});
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[0].format, "lte_rrc.DL_DCCH.Message");
  EXPECT_EQ(packets[1].format, "lte_rrc.UL_CCCH.Message");
  EXPECT_EQ(packets[2].format, "lte_rrc.DL_DCCH.Message");
}

TEST_F(conversion_peer_test, a_layer_that_is_not_listed_gives_nothing) {
  database["peer_buffer_layers"] = json::parse(R"([{"id": 8, "name": "NAS"}])");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "nothing");
}

TEST_F(conversion_peer_test, a_layer_listed_without_id_gives_nothing) {
  database["peer_buffer_layers"] = json::parse(R"([{"name": "RRC"}])");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "nothing");
}

TEST_F(conversion_peer_test, the_name_of_a_layer_does_not_matter) {
  database["peer_buffer_layers"] = json::parse(R"([{"id": 7, "name": ""}])");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, layer_255_is_a_layer) {
  database["peer_buffer_layers"] = json::parse(R"([{"id": 255, "name": "x"}])");
  database["peer_buffers"][0]["layer"] = 255;
  EXPECT_EQ(dump(255, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, layer_0_is_a_layer) {
  database["peer_buffer_layers"] = json::parse(R"([{"id": 0, "name": "x"}])");
  database["peer_buffers"][0]["layer"] = 0;
  EXPECT_EQ(dump(0, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, the_right_buffer_of_another_layer_gives_nothing) {
  EXPECT_EQ(dump(id::nas_layer, id::dl_dcch_buffer), "nothing");
}

TEST_F(conversion_peer_test, an_unknown_buffer_gives_nothing) {
  EXPECT_EQ(dump(id::rrc_layer, "71"), "nothing");
}

TEST_F(conversion_peer_test, a_peer_buffer_needs_no_entry_in_buffers) {
  database.erase("buffers");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, a_peer_buffer_may_have_any_name_in_buffers) {
  database["buffers"] = json::parse(R"([{"id": 70, "name": "PLAIN"}])");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, the_first_matching_peer_buffer_is_used) {
  database["peer_buffers"].push_back(
      json::parse(R"({"id": 70, "layer": 7, "name": "x", "type": "NAS_PDU"})"));
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, a_first_match_without_type_hides_the_second) {
  auto second = database["peer_buffers"][0];
  database["peer_buffers"][0].erase("type");
  database["peer_buffers"].push_back(second);
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "nothing");
}

TEST_F(conversion_peer_test, a_peer_buffer_without_name_gives_nothing) {
  database["peer_buffers"][0].erase("name");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "nothing");
}

TEST_F(conversion_peer_test, elements_without_id_or_layer_are_passed_over) {
  auto buffers = json::parse(R"([{}, {"id": 70}, {"layer": 7}, {"name": "x", "type": "NAS_PDU"}])");
  buffers.push_back(database["peer_buffers"][0]);
  database["peer_buffers"] = buffers;
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, elements_that_are_no_objects_are_passed_over) {
  auto buffers = json::parse(R"([null, 70, "text", [70, 7], true, 0.5])");
  buffers.push_back(database["peer_buffers"][0]);
  database["peer_buffers"] = buffers;
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, ids_are_compared_as_unsigned_32_bit_numbers) {
  database["peer_buffers"][0]["id"] = 4294967296 + 70;
  database["peer_buffers"][0]["layer"] = 7.9;
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, a_wrong_type_behind_the_match_is_not_met) {
  database["peer_buffers"].push_back(json::parse(R"({"id": "text", "layer": 7})"));
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "lte_rrc.DL_DCCH.Message|network|body");
}

TEST_F(conversion_peer_test, without_peer_buffers_there_is_nothing) {
  database.erase("peer_buffers");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "nothing");
}

TEST_F(conversion_peer_test, without_type_mapping_there_is_nothing) {
  database["meta"].erase("type_mapping");
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer), "nothing");
}

TEST_F(conversion_peer_test, an_empty_body_is_an_empty_packet) {
  EXPECT_EQ(dump(id::rrc_layer, id::dl_dcch_buffer, ""), "lte_rrc.DL_DCCH.Message|network|");
}

TEST_F(conversion_peer_test, nul_bytes_belong_to_the_body) {
  const std::string body("\0\1\0\2", 4);
  EXPECT_EQ(dump(id::nas_layer, id::nas_buffer, body), "nas-eps|network|" + body);
}

}  // namespace
