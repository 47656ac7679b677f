// conversion_fuzz.cpp - any bytes as a decoded trace.
//
// The database is a fixed one that reaches every rule, since a database with a
// broken contract stops the process by design. A packet's payload must lie in
// the trace, or be a text that the conversion made.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/source_properties.h"
#include "plugin/trace_db.h"
#include "plugin/trace_db_config.h"

namespace {

constexpr std::string_view database = R"({
  "meta": {"id": 3, "endianness": "big", "trace_id_size": 1, "type_mapping": "id",
           "trace_type_descriptors": [
             {"type": "peer_dump", "conditions": [{"id_range": {"min": 0, "max": 99}}]},
             {"type": "formatted", "conditions": [{"id_range": {"min": 100, "max": 255}}]}]},
  "buffers": [{"id": 1, "name": "EPDCP_UP_PACKET"}, {"id": 2, "name": "TLS_HANDSHAKE_RANDBYTES"},
              {"id": 3, "name": "TLS_SESSION_MASTER"}, {"id": 4, "name": "AT_STRING_REQ"},
              {"id": 5, "name": "AT_STRING_CNF"}],
  "peer_buffer_layers": [{"id": 48, "name": "rrc"}],
  "peer_buffers": [{"id": 6, "layer": 48, "name": "a", "type": "ASN_DL_DCCH_Message"},
                   {"id": 7, "layer": 48, "name": "b", "type": "NAS_PDU"}],
  "traces": [{"id": 100, "format": "AT_STRING", "format_items": [{"reference": 1}]},
             {"id": 101, "label": "TRACE_SYSTEM_WARNING",
              "format": "Traces dropped kernel: %hu user: %hu",
              "format_items": [{"size": 1}, {"size": 2}, {"size": 4}]},
             {"id": 102, "label": "TRACE_SYSTEM_WARNING",
              "format": "Traces dropped kernel: %hu user: %hu",
              "format_items": [{"size": 4294967295}, {"size": 4}, {"size": 4}]}],
  "static_data": {"static_strings": [{"id": 1, "value": "=>"}]}})";

veltra::trace_db_config& config() {
  static veltra::database_collection collection = [] {
    veltra::database_collection made;
    veltra::process_database_text(made, {}, std::string(database));
    return made;
  }();
  return *collection.find_config_for_master(3);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // On the heap, so that a sanitizer sees a read behind the end.
  std::vector<std::uint8_t> bytes(data, data + size);
  const dekodrix_trace trace{3, 0, 0, bytes.data(), bytes.size()};
  const auto packet = veltra::convert_trace(config(), trace);
  if (!packet) return 0;
  const std::string_view made = config().index.payload;
  const bool in_trace =
      packet->data >= bytes.data() && packet->data + packet->data_size <= bytes.data() + size;
  const bool is_made = packet->data == reinterpret_cast<const std::uint8_t*>(made.data()) &&
                       packet->data_size == made.size();
  if (!in_trace && !is_made) std::abort();
  return 0;
}
