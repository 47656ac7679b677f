#include "tests/unit/plugin/plain_database_reader.h"

#include <stdexcept>

#include "implementation/json_values.h"
#include "plugin/limits.h"

namespace plain_database {

namespace {

using kovax::json;
using kovax::to_u32;

const json& needed(const json& element, const char* key) {
  if (!element.is_object()) return element[key];  // throws
  if (!element.contains(key)) throw broken_contract();
  return element.at(key);
}

// One of the two places of the decoder configuration; null if it is not there.
const json* older_place(const json& meta) {
  return meta.contains("decoder_config") ? &meta.at("decoder_config") : nullptr;
}

const json* newer_place(const json& meta) {
  if (!meta.contains("connection_configs")) return nullptr;
  const json& configs = meta.at("connection_configs");
  return configs.contains("dekodrix_config") ? &configs.at("dekodrix_config") : nullptr;
}

void read_ids(record& made, const json& meta) {
  if (meta.contains("aliases")) {
    made.aliases = meta.at("aliases");
    for (const json& alias : *made.aliases) made.ids.insert(to_u32(needed(alias, "id")));
  }
  const json* place = older_place(meta) != nullptr ? older_place(meta) : newer_place(meta);
  if (place == nullptr) return;
  for (const json& master : kovax::member(*place, "masters")) {
    if (to_u32(needed(master, "id")) != made.id) continue;
    for (const json& alias : kovax::as_array(needed(master, "aliases"))) {
      made.ids.insert(to_u32(alias));
    }
  }
}

void read_descriptors(record& made, const json& descriptors) {
  for (const json& element : descriptors) {
    if (!element.contains("conditions")) throw broken_contract();
    for (const json& condition : element.at("conditions")) {
      if (condition.contains("trace_id")) {
        const std::string type = needed(element, "type");
        made.type_descriptors.emplace_back(type, to_u32(condition.at("trace_id")), 0, 0);
      } else if (condition.contains("id_range")) {
        const std::string type = needed(element, "type");
        const json& range = condition.at("id_range");
        const std::uint32_t max = to_u32(kovax::member(range, "max"));
        made.type_descriptors.emplace_back(type, std::nullopt, max,
                                           to_u32(kovax::member(range, "min")));
      }
    }
  }
}

void read_tables(record& made, const json& root) {
  if (root.contains("peer_buffer_layers")) {
    for (const json& layer : root.at("peer_buffer_layers")) {
      if (!layer.contains("id")) continue;
      const std::string name = needed(layer, "name");
      made.peer_buffer_layers[to_u32(layer.at("id"))] = name;
    }
  }
  if (root.contains("peer_buffers")) made.peer_buffers = kovax::as_array(root.at("peer_buffers"));
  if (root.contains("traces")) {
    for (const json& trace : root.at("traces")) {
      made.traces.try_emplace(to_u32(needed(trace, "id")), trace);
    }
  }
  if (root.contains("static_data") && root.at("static_data").contains("static_strings")) {
    for (const json& entry : root.at("static_data").at("static_strings")) {
      const std::uint32_t id = to_u32(needed(entry, "id"));
      made.static_strings.try_emplace(id, needed(entry, "value").get<std::string>());
    }
  }
}

}  // namespace

record read(const std::string& text) {
  if (kovax::nested_deeper_than(text, veltra::max_nesting)) {
    throw std::runtime_error("nested too deep");
  }
  const json root = json::parse(text);
  const json& meta = kovax::member(root, "meta");
  record made;
  made.id = to_u32(kovax::member(meta, "id"));
  made.ids.insert(made.id);
  made.little_endian = kovax::text_member(meta, "endianness") != "big";
  made.trace_id_size = to_u32(kovax::member(meta, "trace_id_size"));
  if (made.trace_id_size > 4) throw std::runtime_error("trace_id_size is larger than 4");
  read_ids(made, meta);
  made.type_mapping_by_id = kovax::member(meta, "type_mapping") == "id";
  kovax::array_member(meta, "trace_type_descriptors");
  if (root.contains("buffers")) {
    for (const json& buffer : root.at("buffers")) {
      const std::string name = needed(buffer, "name");
      made.buffers[to_u32(needed(buffer, "id"))] = name;
    }
  }
  if (meta.contains("min_data_size")) made.min_data_size = to_u32(meta.at("min_data_size"));
  read_descriptors(made, meta.at("trace_type_descriptors"));
  read_tables(made, root);
  const json* place = newer_place(meta) != nullptr ? newer_place(meta) : older_place(meta);
  if (place != nullptr) made.decoder_config = place->dump();
  made.uuid = meta.value("uuid", "UUID_UNKNOWN");
  made.name = meta.value("name", "MCU");
  return made;
}

}  // namespace plain_database
