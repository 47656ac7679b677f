#include "tests/support/database_builder.h"

namespace test_support {

kovax::json minimal_database() {
  return kovax::json::parse(R"({
    "meta": {
      "id": 33,
      "endianness": "little",
      "trace_id_size": 4,
      "trace_type_descriptors": [],
      "uuid": "0a1b2c3d-0000-4000-8000-00112233aabb",
      "connection_configs": {"dekodrix_config": {"masters": []}}
    }
  })");
}

kovax::json conversion_database() {
  auto database = minimal_database();
  database["meta"]["type_mapping"] = "id";
  database["meta"]["trace_type_descriptors"] = kovax::json::parse(R"([
    {"type": "peer_dump", "conditions": [{"trace_id": 100}]},
    {"type": "formatted", "conditions": [{"id_range": {"max": 299, "min": 200}}]},
    {"type": "other", "conditions": [{"trace_id": 300}]}
  ])");
  database["buffers"] = kovax::json::parse(R"([
    {"id": 1, "name": "EPDCP_UP_PACKET"},
    {"id": 2, "name": "TLS_HANDSHAKE_RANDBYTES"},
    {"id": 3, "name": "TLS_SESSION_MASTER"},
    {"id": 4, "name": "AT_STRING_RSP"},
    {"id": 5, "name": "AT_STRING_REQ"},
    {"id": 6, "name": "PLAIN"}
  ])");
  database["peer_buffer_layers"] = kovax::json::parse(R"([
    {"id": 7, "name": "RRC"}, {"id": 8, "name": "NAS"}
  ])");
  database["peer_buffers"] = kovax::json::parse(R"([
    {"id": 70, "layer": 7, "name": "DL DCCH", "type": "ASN_DL_DCCH_Message"},
    {"id": 80, "layer": 8, "name": "NAS", "type": "NAS_PDU"}
  ])");
  database["traces"] = kovax::json::parse(R"([
    {"id": 200, "format": "AT_STRING %s", "format_items": [{"reference": 900}]},
    {"id": 201, "label": "TRACE_SYSTEM_WARNING",
     "format": "Traces dropped kernel: %hu user: %hu",
     "format_items": [{"size": 4}, {"size": 2}, {"size": 2}]}
  ])");
  database["static_data"]["static_strings"] = kovax::json::parse(R"([
    {"id": 900, "value": "=>"}, {"id": 901, "value": "<="}
  ])");
  return database;
}

}  // namespace test_support
