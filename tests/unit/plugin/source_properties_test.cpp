#include "plugin/source_properties.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "plugin/database_collection.h"
#include "plugin/trace_db.h"

namespace {

using namespace std::string_literals;
using kovax::json;

struct packet {
  std::string layer, category, payload;
};

class conversion : public ::testing::Test {
 protected:
  json document = json::parse(R"({
    "meta": {"id": 3, "endianness": "little", "trace_id_size": 2, "type_mapping": "id",
             "trace_type_descriptors": [
               {"type": "peer_dump", "conditions": [{"trace_id": 1}]},
               {"type": "formatted", "conditions": [{"id_range": {"min": 100, "max": 199}}]}]},
    "buffers": [{"id": 11, "name": "AT_STRING_REQ"}, {"id": 12, "name": "AT_STRING_CNF"}],
    "peer_buffer_layers": [{"id": 7, "name": "rrc"}],
    "peer_buffers": [], "traces": [],
    "static_data": {"static_strings": [{"id": 1, "value": "=>"}, {"id": 2, "value": "<="}]}})");

  std::optional<packet> convert(std::string trace) {
    veltra::database_collection collection;
    veltra::process_trace_db(collection, {}, document.dump());
    dekodrix_trace record{3, 5, 99, reinterpret_cast<std::uint8_t*>(trace.data()), trace.size()};
    const auto made = veltra::convert_trace(*collection.find_config_for_master(3), record);
    if (!made) return std::nullopt;
    EXPECT_EQ(made->field_32, 1U);
    EXPECT_EQ(made->timestamp, 99U);
    return packet{
        made->format, made->category, {reinterpret_cast<const char*>(made->data), made->data_size}};
  }

  // A peer dump: trace id 1, then peer layer, buffer id text and body.
  std::optional<packet> convert_peer(char layer, const std::string& buffer,
                                     const std::string& body) {
    return convert("\x01\0"s + layer + buffer + '\0' + body);
  }

  // The layer name that a peer buffer type gives.
  std::string rrc_layer(const char* type) {
    document["peer_buffers"] = json{{{"id", 5}, {"layer", 7}, {"name", "x"}, {"type", type}}};
    const std::optional<packet> made = convert_peer(7, "5", "body");
    return made ? made->layer : "none";
  }

  void define_dropped_warning(int start, int kernel, int user) {
    document["traces"] =
        json{{{"id", 100},
              {"label", "TRACE_SYSTEM_WARNING"},
              {"format", "Traces dropped kernel: %hu user: %hu\n"},
              {"format_items", {{{"size", start}}, {{"size", kernel}}, {{"size", user}}}}}};
  }
};

using conversion_death = conversion;

TEST_F(conversion, names_of_rrc_layers_follow_the_parts_of_the_type) {
  EXPECT_EQ(rrc_layer("ASN_DL_DCCH_Message"), "lte_rrc.DL_DCCH.Message");
  EXPECT_EQ(rrc_layer("ASN_BCCH_DL_sch"), "lte_rrc.BCCH_DL_sch");
  EXPECT_EQ(rrc_layer("ASN_BCCH_DL_SCH"), "lte_rrc.BCCH_DL.SCH");
  EXPECT_EQ(rrc_layer("ASN_PCCH_nb"), "lte_rrc.PCCH.nb");
  EXPECT_EQ(rrc_layer("ASN_PCCH_NB"), "lte_rrc.PCCH_NB");
  EXPECT_EQ(rrc_layer("ASN_BCCH_DL_SCH_Message"), "lte_rrc.BCCH_DL_SCH.Message");
  EXPECT_EQ(rrc_layer("ASN_PCCH_a_b_c_d"), "lte_rrc.PCCH");
  EXPECT_EQ(rrc_layer("ASN_PCCH_a_b_c_d_e_f"), "lte_rrc.PCCH");
  EXPECT_EQ(rrc_layer("ASN___DL__DCCH__"), "lte_rrc.DL_DCCH");
  EXPECT_EQ(rrc_layer("ASN_X"), "none");
  EXPECT_EQ(rrc_layer("ASN_"), "none");
  EXPECT_EQ(rrc_layer("NAS_PDU_LTE"), "nas-eps");
  EXPECT_EQ(rrc_layer("OTHER"), "none");
}

TEST_F(conversion, a_peer_layer_that_is_not_listed_gives_nothing) {
  document["peer_buffers"] = json::parse(R"([{"id":5,"layer":8,"name":"x","type":"NAS_PDU"}])");
  EXPECT_FALSE(convert_peer(8, "5", "body"));
}

TEST_F(conversion, at_requests_get_their_prefix_back_and_end_at_the_nul) {
  EXPECT_EQ(convert_peer(0, "11", "+CFUN?\0rest"s)->payload, "AT+CFUN?");
  EXPECT_EQ(convert_peer(0, "12", "+CFUN?\0rest"s)->payload, "+CFUN?");
  EXPECT_EQ(convert_peer(0, "12", "no end")->payload, "no end");
  EXPECT_EQ(convert_peer(0, "12", "")->payload, "");
}

TEST_F(conversion, formatted_at_text_starts_at_the_third_byte) {
  const auto define = [this](const char* format, int reference) {
    document["traces"] = json{{{"id", 100},
                               {"format", format},
                               {"format_items", {json::object(), {{"reference", reference}}}}}};
  };
  define("%s AT_STRING %s", 1);
  EXPECT_EQ(convert("\x64\0+CFUN?\0x"s)->payload, "AT+CFUN?");
  define("AT_DEBUG_STRING", 2);
  EXPECT_EQ(convert("\x64\0OK\0x"s)->payload, "OK");
  define("AT_STRING", 3);  // an unknown static string counts as empty
  EXPECT_EQ(convert("\x64\0OK"s)->payload, "OK");
  define("other", 1);
  EXPECT_FALSE(convert("\x64\0OK"s));
}

TEST_F(conversion, dropped_counts_are_added_up) {
  define_dropped_warning(2, 2, 2);
  const auto made = convert("\x64\0\x03\0\x04\0"s);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->layer, "at");
  EXPECT_EQ(made->payload, "Dropped traces count: 7");
}

TEST_F(conversion, dropped_counts_beyond_the_end_of_the_trace_read_as_nothing) {
  define_dropped_warning(2, 2, 2);
  EXPECT_EQ(convert("\x64\0\x03\0\x04"s)->payload, "Dropped traces count: 3");
  define_dropped_warning(-1, 4, 4);
  EXPECT_EQ(convert("\x64\0\x03\0\x04"s)->payload, "Dropped traces count: 0");
}

TEST_F(conversion_death, dropped_counts_are_at_most_4_bytes_wide) {
  define_dropped_warning(2, 5, 2);
  EXPECT_DEATH(convert("\x64\0\x03\0\x04\0"s), R"(arg_len <= sizeof\(new_arg\))");
  define_dropped_warning(2, 2, 5);
  EXPECT_DEATH(convert("\x64\0\x03\0\x04\0"s), R"(arg_len <= sizeof\(new_arg\))");
}

TEST_F(conversion, a_definition_of_the_wrong_type_is_a_type_error) {
  document["traces"] =
      json::parse(R"([{"id":100,"format":"AT_STRING","format_items":[{"reference":"x"}]}])");
  EXPECT_THROW(convert("\x64\0OK"s), json::type_error);
  define_dropped_warning(2, 2, 2);
  document["traces"][0]["format_items"][1] = json::object();
  EXPECT_THROW(convert("\x64\0OK"s), json::type_error);
}

TEST_F(conversion, a_trace_of_any_length_is_read_within_its_end) {
  document["peer_buffers"] = json::parse(R"([{"id":5,"layer":7,"name":"x","type":"NAS_PDU"}])");
  define_dropped_warning(2, 4, 4);
  for (const std::string& whole : {"\x01\0\x07"s + "5\0body"s, "\x01\0\x07"s + "11\0AT text"s,
                                   "\x64\0\x01\0\0\0\x01\0\0\0"s}) {
    for (std::size_t length = 0; length <= whole.size(); ++length) convert(whole.substr(0, length));
  }
}

TEST_F(conversion, a_record_without_data_gives_nothing) {
  veltra::database_collection collection;
  veltra::process_trace_db(collection, {}, document.dump());
  const dekodrix_trace record{3, 0, 0, nullptr, 10};
  EXPECT_FALSE(veltra::convert_trace(*collection.find_config_for_master(3), record));
}

}  // namespace
