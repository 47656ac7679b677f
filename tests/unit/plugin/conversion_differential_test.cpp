// The conversion's tables and the kept metadata give what plain code gives: lists walked
// from their beginning for every trace, and a text made of a JSON object for every packet.
// Random databases and traces from fixed seeds.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "implementation/json.h"
#include "plugin/packet_delivery.h"
#include "plugin/source_properties.h"
#include "plugin/trace_db.h"
#include "plugin/trace_db_config.h"
#include "tests/support/differential_cases.h"

namespace {

using kovax::json;
using veltra::database_collection;

struct plain_packet {
  std::string layer;
  std::string category;
  std::string payload;
  bool operator==(const plain_packet&) const = default;
};
using plain_result = std::optional<plain_packet>;

std::ostream& operator<<(std::ostream& out, const plain_packet& packet) {
  return out << packet.layer << " " << packet.category << " "
             << testing::PrintToString(packet.payload);
}

// --- plain code ---------------------------------------------------------------------------

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

class plain_converter {
 public:
  explicit plain_converter(const json& database) : database_(database) {}

  plain_result convert(const std::string& trace) const {
    if (trace.size() <= 2) return std::nullopt;
    const unsigned low = static_cast<std::uint8_t>(trace[0]);
    const unsigned high = static_cast<std::uint8_t>(trace[1]);
    const unsigned id = low | high << 8U;
    const unsigned layer = static_cast<std::uint8_t>(trace[2]);
    const std::string text = std::string(trace.substr(3, 255).c_str());
    const std::size_t body_at = 3 + text.size() + 1;
    const bool has_body = body_at <= trace.size();
    const std::string body = has_body ? trace.substr(body_at) : "";
    const unsigned buffer_id =
        has_body ? static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10)) : 0;
    const std::string buffer = has_body ? buffer_name(buffer_id) : "";

    if (contains(buffer, "EPDCP_UP_PACKET")) return plain_packet{"ip", "network", body};
    if (contains(buffer, "TLS_HANDSHAKE_RANDBYTES")) {
      return plain_packet{"handshake_randbytes", "tls", body};
    }
    if (contains(buffer, "TLS_SESSION_MASTER")) return plain_packet{"session_master", "tls", body};
    const std::string type = type_of(id);
    if (type == "formatted") return convert_formatted(id, trace);
    if (type != "peer_dump") return std::nullopt;
    if (buffer.rfind("AT_STRING", 0) == 0) {
      return plain_packet{"at", "network",
                          (contains(buffer, "REQ") ? "AT" : "") + std::string(body.c_str())};
    }
    return convert_message(layer, buffer_id, body);
  }

 private:
  std::string buffer_name(unsigned id) const {
    std::string name;
    for (const json& buffer : database_.at("buffers")) {
      if (buffer.at("id") == id) name = buffer.at("name");  // the last one holds
    }
    return name;
  }

  std::string type_of(unsigned id) const {
    for (const json& descriptor : database_.at("meta").at("trace_type_descriptors")) {
      for (const json& condition : descriptor.at("conditions")) {
        const bool holds = condition.contains("trace_id")
                               ? condition.at("trace_id") == id
                               : condition.at("id_range").at("min") <= id &&
                                     condition.at("id_range").at("max") >= id;
        if (holds) return descriptor.at("type");
      }
    }
    return {};
  }

  plain_result convert_message(unsigned layer, unsigned buffer_id, const std::string& body) const {
    bool is_known_layer = false;
    for (const json& each : database_.at("peer_buffer_layers")) {
      is_known_layer = is_known_layer || each.at("id") == layer;
    }
    if (!is_known_layer) return std::nullopt;
    for (const json& peer : database_.at("peer_buffers")) {
      if (!peer.is_object() || !peer.contains("id") || !peer.contains("layer")) continue;
      if (peer.at("id") != buffer_id || peer.at("layer") != layer) continue;
      if (!peer.contains("name") || !peer.contains("type")) return std::nullopt;
      return convert_typed(peer.at("type").get<std::string>(), body);
    }
    return std::nullopt;
  }

  plain_result convert_formatted(unsigned id, const std::string& trace) const {
    for (const json& definition : database_.at("traces")) {
      if (definition.at("id") != id) continue;
      if (!definition.contains("format") || !definition.contains("format_items")) break;
      const std::string format = definition.at("format");
      const json& items = definition.at("format_items");
      if (contains(format, "AT_STRING") || contains(format, "AT_DEBUG_STRING")) {
        return convert_formatted_at(items, trace);
      }
      if (definition.value("label", "") != "TRACE_SYSTEM_WARNING") break;
      if (format.rfind("Traces dropped kernel: %hu user: %hu", 0) != 0 || items.size() < 3) break;
      return convert_dropped_traces(items, trace);
    }
    return std::nullopt;
  }

  plain_result convert_formatted_at(const json& items, const std::string& trace) const {
    for (const json& item : items) {
      if (!item.contains("reference")) continue;
      std::string prefix;
      for (const json& each : database_.at("static_data").at("static_strings")) {
        if (each.at("id") != item.at("reference")) continue;
        if (each.at("value") == "=>") prefix = "AT";
        break;
      }
      return plain_packet{"at", "network", prefix + std::string(trace.substr(2).c_str())};
    }
    return std::nullopt;
  }

  static plain_result convert_dropped_traces(const json& items, const std::string& trace) {
    std::size_t at = items[0].at("size");
    unsigned dropped = 0;
    for (const json& item : {items[1], items[2]}) {
      const std::size_t size = item.at("size");
      const bool is_whole = at + size <= trace.size();  // otherwise it counts as 0
      for (std::size_t i = 0; is_whole && i < size; ++i) {
        dropped += unsigned{static_cast<std::uint8_t>(trace[at + i])} << 8 * i;
      }
      at += size;
    }
    return plain_packet{"at", "network", "Dropped traces count: " + std::to_string(dropped)};
  }

  static plain_result convert_typed(const std::string& type, const std::string& body) {
    if (type.rfind("NAS_PDU", 0) == 0) return plain_packet{"nas-eps", "network", body};
    if (type.rfind("ASN_", 0) != 0) return std::nullopt;
    std::vector<std::string> tokens;
    std::istringstream rest(type.substr(4));
    for (std::string token; std::getline(rest, token, '_');) {
      if (!token.empty()) tokens.push_back(token);
    }
    if (tokens.size() < 2) return std::nullopt;
    std::string name = "lte_rrc." + tokens[0];
    if (tokens.size() == 2) name += (tokens[1] == "nb" ? "." : "_") + tokens[1];
    if (tokens.size() == 3) name += "_" + tokens[1] + (tokens[2] == "sch" ? "_" : ".") + tokens[2];
    if (tokens.size() == 4) name += "_" + tokens[1] + "_" + tokens[2] + "." + tokens[3];
    return plain_packet{name, "network", body};
  }

  const json& database_;
};

// --- random input -------------------------------------------------------------------------

class input_maker {
 public:
  explicit input_maker(unsigned seed) : random_(seed) {}

  json database() {
    json made = {{"meta",
                  {{"id", 3},
                   {"endianness", "little"},
                   {"trace_id_size", 2},
                   {"type_mapping", "id"},
                   {"trace_type_descriptors", json::array()}}},
                 {"buffers", json::array()},
                 {"peer_buffer_layers", json::array()},
                 {"peer_buffers", json::array()},
                 {"traces", json::array()},
                 {"static_data", {{"static_strings", json::array()}}}};
    for (unsigned i = below(6); i > 0; --i) {
      made["meta"]["trace_type_descriptors"].push_back(
          {{"type", one_of({"peer_dump", "peer_dump", "formatted", "other"})},
           {"conditions", conditions()}});
    }
    for (unsigned i = below(12); i > 0; --i) {
      made["buffers"].push_back(
          {{"id", small_id()},
           {"name", one_of({"a_EPDCP_UP_PACKET", "TLS_HANDSHAKE_RANDBYTES1", "TLS_SESSION_MASTER",
                            "AT_STRING_REQ", "AT_STRING_CNF", "X_AT_STRING", ""})}});
    }
    for (unsigned i = below(5); i > 0; --i) {
      made["peer_buffer_layers"].push_back({{"id", below(5)}, {"name", "layer"}});
    }
    for (unsigned i = below(30); i > 0; --i) made["peer_buffers"].push_back(peer_buffer());
    for (unsigned i = below(20); i > 0; --i) made["traces"].push_back(definition());
    for (unsigned i = below(5); i > 0; --i) {
      made["static_data"]["static_strings"].push_back(
          {{"id", below(4)}, {"value", one_of({"=>", "<=", ""})}});
    }
    return made;
  }

  std::string trace() {
    std::string made = {static_cast<char>(below(20)), static_cast<char>(below(8) == 0),
                        static_cast<char>(below(5))};
    made += below(16) == 0 ? one_of({"x", "+4", " 7", ""}) : std::to_string(small_id());
    if (below(16) != 0) made += '\0';
    for (unsigned i = below(12); i > 0; --i) made += static_cast<char>(random_());
    return below(16) == 0 ? made.substr(0, below(4)) : made;
  }

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

 private:
  unsigned small_id() { return below(12); }

  std::string one_of(const std::vector<std::string>& texts) {
    return texts[below(static_cast<unsigned>(texts.size()))];
  }

  json conditions() {
    json made = json::array();
    for (unsigned i = below(3); i > 0; --i) {
      const unsigned min = below(20);
      made.push_back(below(2) == 0 ? json{{"trace_id", below(20)}}
                                   : json{{"id_range", {{"min", min}, {"max", min + below(10)}}}});
    }
    return made;
  }

  json peer_buffer() {
    if (below(12) == 0) return below(2);
    json made = {{"id", small_id()},
                 {"layer", below(5)},
                 {"name", "name"},
                 {"type", one_of({"ASN_DL_DCCH_Message", "ASN_BCCH_DL_sch", "ASN_PCCH_nb", "ASN_X",
                                  "ASN__UL__CCCH", "ASN_a_b_c_d", "ASN_a_b_c_d_e", "NAS_PDU_x",
                                  "other", "ASN_"})}};
    if (below(8) == 0) made.erase(one_of({"id", "layer", "name", "type"}));
    return made;
  }

  json definition() {
    json made = {{"id", below(20)},
                 {"label", one_of({"TRACE_SYSTEM_WARNING", "OTHER"})},
                 {"format", one_of({"AT_STRING %s", "an AT_DEBUG_STRING",
                                    "Traces dropped kernel: %hu user: %hu.",
                                    "Traces dropped kernel: %hu user: %hu", "other"})},
                 {"format_items", json::array()}};
    for (unsigned i = below(5); i > 0; --i) {
      json item = {{"size", below(5)}};
      if (below(3) == 0) item["reference"] = below(4);
      made["format_items"].push_back(item);
    }
    if (below(8) == 0) made.erase(one_of({"label", "format", "format_items"}));
    return made;
  }

  std::mt19937 random_;
};

// --- comparisons --------------------------------------------------------------------------

plain_result converted(database_collection& collection, std::string trace) {
  const dekodrix_trace record{3, 0, 99, reinterpret_cast<std::uint8_t*>(trace.data()),
                              trace.size()};
  const auto packet = convert_trace(*collection.find_config_for_master(3), record);
  if (!packet) return std::nullopt;
  EXPECT_EQ(packet->timestamp, 99U);
  return plain_packet{packet->format,
                      packet->category,
                      {reinterpret_cast<const char*>(packet->data), packet->data_size}};
}

TEST(conversion_differential, random_traces_are_converted_as_by_walks_through_the_lists) {
  constexpr unsigned traces_per_database = 200;
  const unsigned long databases = test_support::differential_cases() / traces_per_database;
  input_maker input(1);
  unsigned long packets = 0;
  for (unsigned long round = 0; round < databases; ++round) {
    const json database = input.database();
    database_collection collection;
    veltra::process_database_text(collection, {}, database.dump());
    const plain_converter plain(database);
    for (unsigned i = 0; i < traces_per_database; ++i) {
      const std::string trace = input.trace();
      const plain_result wanted = plain.convert(trace);
      packets += wanted ? 1U : 0U;
      ASSERT_EQ(converted(collection, trace), wanted)
          << "database " << round << ", trace " << i << ": " << testing::PrintToString(trace)
          << "\n"
          << database;
    }
  }
  EXPECT_GT(packets, databases * traces_per_database / 10);  // not mere noise
}

struct last_packet {
  std::string metadata;
  std::uint64_t number = 0;

  static void take(kovax_source* /*source*/, void* user_data, kovax_stream_packet_t packet) {
    auto& self = *static_cast<last_packet*>(user_data);
    self.metadata = packet.metadata;
    self.number = packet.sequence_number;
  }
};

TEST(conversion_differential, metadata_are_those_of_an_object_made_for_every_packet) {
  input_maker random(1);
  veltra::packet_delivery delivery;
  last_packet last;
  const veltra::packet_receiver to{nullptr, &last, last_packet::take};
  json wanted = {{"data_offset", 0}, {"modem_db_path", ""}, {"modem_db_uuid", ""}};
  const unsigned long cases = test_support::differential_cases();
  for (unsigned long number = 1; number <= cases; ++number) {
    if (random.below(1000) == 0) {
      wanted["modem_db_path"] = "/db \"" + std::to_string(random.below(100)) + "\"";
      wanted["modem_db_uuid"] = std::to_string(random.below(100));
      delivery.set_database(wanted["modem_db_path"], wanted["modem_db_uuid"]);
    }
    if (random.below(5000) == 0) {
      wanted["data_size"] = random.below(100000);
      delivery.set_data_size(wanted["data_size"]);
    }
    if (random.below(4) == 0) {
      const std::string chunk(1 + random.below(100), 'x');
      wanted["data_offset"] = wanted["data_offset"].get<std::uint64_t>() + chunk.size();
      delivery.deliver_raw(to, chunk);
    } else {
      kovax_stream_packet_t decoded{};
      delivery.deliver_decoded(to, decoded);
    }
    ASSERT_EQ(last.metadata, wanted.dump()) << "packet " << number;
    ASSERT_EQ(last.number, number);
  }
}

}  // namespace
