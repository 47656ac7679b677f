// plain_database_reader.h - a trace database read without any art: the whole text becomes a
// document, and all that is kept of it is copied. What the plug-in's reader is compared with.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "implementation/json.h"

namespace plain_database {

struct record {
  std::uint32_t id = 0;
  std::uint32_t trace_id_size = 0;
  std::uint32_t min_data_size = 1;
  bool little_endian = true;
  std::optional<kovax::json> aliases;
  std::set<std::uint32_t> ids;
  std::map<std::uint32_t, std::string> buffers;
  std::optional<std::string> decoder_config;
  std::string name;
  // The type, then an id, or the largest and the least of a range.
  std::vector<std::tuple<std::string, std::optional<std::uint32_t>, std::uint32_t, std::uint32_t>>
      type_descriptors;
  std::map<std::uint32_t, std::string> peer_buffer_layers;
  std::vector<kovax::json> peer_buffers;
  std::map<std::uint32_t, kovax::json> traces;
  std::map<std::uint32_t, std::string> static_strings;
  bool type_mapping_by_id = false;
  std::string uuid;

  bool operator==(const record&) const = default;
};

// Thrown where the plug-in stops the process.
struct broken_contract {};

// Throws the JSON library's errors, std::runtime_error and broken_contract.
record read(const std::string& text);

}  // namespace plain_database
