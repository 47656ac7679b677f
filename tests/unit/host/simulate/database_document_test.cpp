#include "host/simulate/database_document.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

#include "base/uuid.h"
#include "host/simulate/archive_writer.h"
#include "implementation/json.h"

namespace veltra::host {
namespace {

using kovax::json;

json parsed(const database_document& document) {
  return json::parse(document.text);
}

json ordinary() {
  return parsed(make_database_document(peer_buffer_table().buffers(), {}));
}

// The element of `list` whose "id" is `id`; null if there is none.
json with_id(const json& list, int id) {
  for (const json& element : list) {
    if (element.at("id") == id) return element;
  }
  return nullptr;
}

std::string name_of(const json& list, int id) {
  const json element = with_id(list, id);
  return element.is_null() ? "(none)" : element.at("name").get<std::string>();
}

TEST(database_document, the_header_names_the_core_and_its_traces) {
  const json meta = ordinary().at("meta");
  EXPECT_EQ(meta.at("name"), "MCU");
  EXPECT_EQ(meta.at("id"), 3);
  EXPECT_EQ(meta.at("endianness"), "little");
  EXPECT_EQ(meta.at("trace_id_size"), 2);
  EXPECT_EQ(meta.at("type_mapping"), "id");
}

TEST(database_document, peer_dumps_and_formatted_traces_are_distinguished_by_their_ids) {
  EXPECT_EQ(ordinary().at("meta").at("trace_type_descriptors"), json::parse(R"([
      {"type": "peer_dump", "conditions": [{"id_range": {"min": 512, "max": 767}}]},
      {"type": "formatted", "conditions": [{"id_range": {"min": 768, "max": 1023}},
                                           {"trace_id": 4095}]}])"));
}

TEST(database_document, the_decoder_configuration_takes_the_core_and_reports_losses) {
  EXPECT_EQ(ordinary().at("meta").at("connection_configs").at("dekodrix_config"), json::parse(R"(
      {"format": "veltra-frames", "version": 1,
       "masters": [{"id": 3, "name": "MCU", "aliases": []}],
       "loss_trace": {"master_id": 3, "trace_id": 4095, "trace_id_size": 2,
                      "endianness": "little"}})"));
}

TEST(database_document, buffers_have_the_names_that_packets_are_made_of) {
  const json buffers = ordinary().at("buffers");
  EXPECT_EQ(name_of(buffers, 101), "AT_STRING_REQ");
  EXPECT_EQ(name_of(buffers, 102), "AT_STRING_RSP");
  EXPECT_EQ(name_of(buffers, 1000001), "EPDCP_UP_PACKET");
  EXPECT_EQ(name_of(buffers, 1000002), "TLS_HANDSHAKE_RANDBYTES");
  EXPECT_EQ(name_of(buffers, 1000003), "TLS_SESSION_MASTER");
}

// Trace content other than a buffer id of a dump can read as a number of up to
// six digits.
TEST(database_document, a_buffer_that_alone_makes_a_packet_has_an_id_of_seven_digits) {
  const json buffers = ordinary().at("buffers");
  for (const json& buffer : buffers) {
    const std::string name = buffer.at("name").get<std::string>();
    if (name.starts_with("AT_STRING")) continue;
    EXPECT_EQ(std::to_string(buffer.at("id").get<unsigned>()).size(), 7U) << name;
  }
}

TEST(database_document, no_id_is_given_twice) {
  const json document = ordinary();
  std::set<int> buffers;
  for (const char* list : {"buffers", "peer_buffers"}) {
    for (const json& buffer : document.at(list)) {
      EXPECT_TRUE(buffers.insert(buffer.at("id").get<int>()).second) << buffer;
    }
  }
  std::set<int> traces;
  for (const json& trace : document.at("traces")) {
    EXPECT_TRUE(traces.insert(trace.at("id").get<int>()).second) << trace;
  }
}

TEST(database_document, peer_buffers_are_those_of_the_table_on_a_known_layer) {
  peer_buffer_table table;
  table.find_or_add("lte_rrc.DL_DCCH.Message");
  const json document = parsed(make_database_document(table.buffers(), {}));
  const json& list = document.at("peer_buffers");
  ASSERT_EQ(list.size(), table.buffers().size());
  EXPECT_EQ(list[0],
            json::parse(R"({"id": 201, "layer": 3, "name": "nas-eps", "type": "NAS_PDU"})"));
  EXPECT_EQ(list.back(), json::parse(R"({"id": 219, "layer": 2, "name": "lte_rrc.DL_DCCH.Message",
                                         "type": "ASN_DL_DCCH_Message"})"));
  for (const json& buffer : list) {
    EXPECT_NE(name_of(document.at("peer_buffer_layers"), buffer.at("layer").get<int>()), "(none)");
  }
}

TEST(database_document, formatted_at_traces_refer_to_their_directions) {
  const json document = ordinary();
  for (const auto& [id, text] : {std::pair{768, "=>"}, std::pair{769, "<="}}) {
    const json trace = with_id(document.at("traces"), id);
    EXPECT_NE(trace.at("format").get<std::string>().find("AT_STRING"), std::string::npos);
    const int reference = trace.at("format_items").at(0).at("reference").get<int>();
    const json string = with_id(document.at("static_data").at("static_strings"), reference);
    EXPECT_EQ(string.at("value"), text);
  }
}

TEST(database_document, the_system_warning_holds_two_counts_behind_its_id) {
  EXPECT_EQ(with_id(ordinary().at("traces"), 4095), json::parse(R"(
      {"id": 4095, "label": "TRACE_SYSTEM_WARNING",
       "format": "Traces dropped kernel: %hu user: %hu",
       "format_items": [{"size": 2}, {"size": 4}, {"size": 4}]})"));
}

TEST(database_document, without_a_uuid_it_gets_one_of_version_8_from_its_content) {
  const database_document document = make_database_document(peer_buffer_table().buffers(), {});
  EXPECT_TRUE(is_uuid(document.uuid)) << document.uuid;
  EXPECT_EQ(document.uuid[14], '8') << document.uuid;
  EXPECT_NE(std::string("89ab").find(document.uuid[19]), std::string::npos) << document.uuid;
  EXPECT_EQ(parsed(document).at("meta").at("uuid"), document.uuid);

  peer_buffer_table larger;
  larger.find_or_add("lte_rrc.DL_DCCH.Message");
  const database_document other = make_database_document(larger.buffers(), {});
  EXPECT_NE(other.uuid.substr(0, 18), document.uuid.substr(0, 18));
  EXPECT_NE(other.uuid.substr(19), document.uuid.substr(19));
}

// Traces that were simulated earlier name it.
TEST(database_document, the_ordinary_database_keeps_its_uuid_and_text) {
  const database_document document = make_database_document(peer_buffer_table().buffers(), {});
  EXPECT_EQ(document.uuid, "5ae68be3-1ff0-8e9f-b47b-89bb206d4302");
  EXPECT_EQ(make_database_document(peer_buffer_table().buffers(), {}).text, document.text);
}

TEST(database_document, a_given_uuid_is_taken_as_it_is_written) {
  const std::string uuid = "01234567-89AB-cdef-0123-456789abcdef";
  const database_document document = make_database_document({}, uuid);
  EXPECT_EQ(document.uuid, uuid);
  EXPECT_EQ(parsed(document).at("meta").at("uuid"), uuid);
}

TEST(database_document, its_archive_is_one_compressed_member) {
  const database_document document = make_database_document({}, {});
  EXPECT_EQ(archive_database(document), gzip(ustar_archive("trace_database.json", document.text)));
}

}  // namespace
}  // namespace veltra::host
