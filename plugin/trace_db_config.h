// trace_db_config.h - one processed trace database.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "implementation/json.h"
#include "plugin/conversion_index.h"

namespace veltra {

// One condition under which a trace has a type. Exactly one of the optionals is
// set.
struct type_descriptor {
  struct range {
    std::uint32_t max;  // included
    std::uint32_t min;  // included
  };

  std::string type;
  std::optional<std::uint32_t> trace_id;
  std::optional<range> id_range;
};

// What the plug-in keeps of one database text. Made by process_trace_db, and
// constant from then on but for `layer_name` and the scratch space of `index`;
// for that reason only one thread may convert traces with it.
struct trace_db_config {
  std::uint32_t id = 0;             // the database's own master id
  std::uint32_t trace_id_size = 0;  // bytes of a trace id at the start of a trace, 0 to 4
  std::uint32_t min_data_size = 1;
  bool little_endian = true;
  std::optional<kovax::json> aliases;
  std::set<std::uint32_t> ids;  // master ids whose traces this database describes
  std::map<std::uint32_t, std::string> buffers;
  std::optional<std::string> decoder_config;  // compact JSON for the decoder
  std::string name;                           // name of the traced core
  std::vector<type_descriptor> type_descriptors;
  std::map<std::uint32_t, std::string> peer_buffer_layers;
  std::vector<kovax::json> peer_buffers;
  std::unordered_map<std::uint32_t, kovax::json> traces;
  std::unordered_map<std::uint32_t, std::string> static_strings;
  bool type_mapping_by_id = false;
  std::string layer_name;  // the latest LTE RRC layer's name, kept while its packet is handed on

  conversion_index index;  // look-up tables derived from the members above
};

}  // namespace veltra
