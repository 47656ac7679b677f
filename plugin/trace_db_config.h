// trace_db_config.h - processed trace databases: a record each, and the records of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "implementation/json.h"
#include "plugin/conversion_index.h"
#include "plugin/trace_definitions.h"

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

// What the plug-in keeps of one database text. Made by process_database_text, and
// constant from then on, except for the scratch space of `index` and the parsed ones of
// `traces`: only one thread may convert traces with it.
struct trace_db_config {
  trace_db_config() = default;
  trace_db_config(trace_db_config&&) = default;
  trace_db_config& operator=(trace_db_config&&) = default;
  ~trace_db_config();

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
  trace_definitions traces;
  std::unordered_map<std::uint32_t, std::string> static_strings;
  bool type_mapping_by_id = false;

  conversion_index index;  // look-up tables derived from the members above
};

// The records of one database file, in the order in which they were read.
// References to records are valid until the next append.
class database_collection {
 public:
  // Adds a record behind the others.
  void append(trace_db_config config);

  // The decoder configuration of the first record whose name is exactly `name`; nothing
  // if there is no such record or it has no configuration.
  std::optional<std::string> find_decoder_config(std::string_view name) const;

  // The first record that accepts traces of this master, or null.
  trace_db_config* find_config_for_master(std::uint32_t master_id);

  const std::vector<trace_db_config>& configs() const { return configs_; }

  std::string uuid;  // of the database that was processed last

 private:
  std::vector<trace_db_config> configs_;
  std::unordered_map<std::uint32_t, std::size_t> position_by_master_;
  std::optional<std::pair<std::uint32_t, std::size_t>> latest_;  // that was found in it
};

}  // namespace veltra
