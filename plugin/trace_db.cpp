#include "plugin/trace_db.h"

#include <fmt/format.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "implementation/json_values.h"
#include "platform/file.h"
#include "plugin/database/database_reader.h"
#include "plugin/database/file_io.h"
#include "plugin/database/gzip.h"
#include "plugin/database_document.h"
#include "plugin/limits.h"

namespace veltra {

namespace {

using kovax::array_member;
using kovax::as_array;
using kovax::json;
using kovax::member;
using kovax::to_u32;

// A member of an array element: must be there.
const json& strict_member(const json& element, const char* key) {
  if (!element.is_object()) return element[key];  // throws the library's own error
  const auto found = element.find(key);
  KOVAX_CONTRACT_TEXT(found != element.end(), "it != m_value.object->end()");
  return *found;
}

// The decoder configuration in its older and in its newer place.
struct decoder_configurations {
  const json* older = nullptr;
  const json* newer = nullptr;
};

decoder_configurations find_decoder_configurations(const json& meta) {
  decoder_configurations found;
  if (meta.contains("decoder_config")) found.older = &meta.at("decoder_config");
  if (meta.contains("connection_configs") &&
      meta.at("connection_configs").contains("dekodrix_config")) {
    found.newer = &meta.at("connection_configs").at("dekodrix_config");
  }
  return found;
}

void read_identity(trace_db_config& config, const json& meta) {
  config.id = to_u32(member(meta, "id"));
  config.ids.insert(config.id);
  config.little_endian = member(meta, "endianness").get<std::string>() != "big";
  config.trace_id_size = to_u32(member(meta, "trace_id_size"));
  if (config.trace_id_size > max_trace_id_size) {
    throw std::runtime_error("trace_id_size is larger than 4");
  }
}

// Moves them out of the document: a copy that fails could not be taken apart.
void read_aliases(trace_db_config& config, json& root) {
  if (!member(root, "meta").contains("aliases")) return;
  config.aliases = std::move(root.at("meta").at("aliases"));
  for (const json& alias : *config.aliases) {
    config.ids.insert(to_u32(strict_member(alias, "id")));
  }
}

void read_masters(trace_db_config& config, const decoder_configurations& decoder) {
  const json* place = decoder.older != nullptr ? decoder.older : decoder.newer;
  if (place == nullptr) return;
  for (const json& master : member(*place, "masters")) {
    if (to_u32(strict_member(master, "id")) != config.id) continue;
    for (const json& alias : as_array(strict_member(master, "aliases"))) {
      config.ids.insert(to_u32(alias));
    }
  }
}

void read_buffers(trace_db_config& config, const json& root) {
  if (!root.contains("buffers")) return;
  for (const json& buffer : root.at("buffers")) {
    auto name = strict_member(buffer, "name").get<std::string>();
    config.buffers[to_u32(strict_member(buffer, "id"))] = std::move(name);
  }
}

void read_type_descriptors(trace_db_config& config, const json::array_t& descriptors) {
  for (const json& element : descriptors) {
    KOVAX_CONTRACT(element.contains("conditions"));
    for (const json& condition : element.at("conditions")) {
      const bool single = condition.contains("trace_id");
      if (!single && !condition.contains("id_range")) continue;
      type_descriptor descriptor;
      descriptor.type = strict_member(element, "type").get<std::string>();
      if (single) {
        descriptor.trace_id = to_u32(condition.at("trace_id"));
      } else {
        const json& range = condition.at("id_range");
        descriptor.id_range = {to_u32(member(range, "max")), to_u32(member(range, "min"))};
      }
      config.type_descriptors.push_back(std::move(descriptor));
    }
  }
}

void read_peer_buffers(trace_db_config& config, json& root) {
  if (root.contains("peer_buffer_layers")) {
    for (const json& layer : root.at("peer_buffer_layers")) {
      if (!layer.contains("id")) continue;
      auto name = strict_member(layer, "name").get<std::string>();
      config.peer_buffer_layers[to_u32(layer.at("id"))] = std::move(name);
    }
  }
  if (root.contains("peer_buffers")) {
    as_array(root.at("peer_buffers"));
    config.peer_buffers = std::move(root.at("peer_buffers").get_ref<json::array_t&>());
  }
}

void read_traces(trace_db_config& config, database_document& document) {
  config.traces = document.take_definitions();
  if (!document.root().contains("traces")) return;
  // Elements without an id, or the members of what is not an array.
  for (json& trace : document.root().at("traces")) {
    config.traces.add(to_u32(strict_member(trace, "id")), trace);
  }
}

void read_static_strings(trace_db_config& config, const json& root) {
  if (!root.contains("static_data") || !root.at("static_data").contains("static_strings")) return;
  for (const json& entry : root.at("static_data").at("static_strings")) {
    const std::uint32_t id = to_u32(strict_member(entry, "id"));
    config.static_strings.try_emplace(id, strict_member(entry, "value").get<std::string>());
  }
}

std::string text_or(const json& meta, const char* key, const char* otherwise) {
  return meta.contains(key) ? meta.at(key).get<std::string>() : otherwise;
}

// What a file has beyond its limit is not read: one byte more is enough to see that.
std::string read_bytes(const std::filesystem::path& path) {
  constexpr std::uintmax_t max_archive = decompression_limit / 2;
  try {
    return read_file(path, (path.extension() == ".gz" ? max_archive : max_database_text_bytes) +
                               std::uintmax_t{1});
  } catch (const file_error&) {
    throw std::runtime_error("veltra plugin cannot open trace file at " +
                             platform::path_to_utf8(path));
  }
}

bool is_archive(const std::filesystem::path& path) {
  const std::filesystem::path extension = path.extension();
  if (extension == ".gz") return true;
  if (extension == ".json") return false;
  throw std::runtime_error("Database file extension needs to be .gz or .json");
}

}  // namespace

database_collection read_database_file(const std::filesystem::path& path, const host_log& log) {
  std::string bytes = read_bytes(path);
  const bool archive = is_archive(path);
  database_collection collection;
  const auto process = [&](std::string text) {
    try {
      process_database_text(collection, log, std::move(text));
    } catch (const std::bad_alloc&) {
      // The error that the reader makes of it names another cause.
      log.recoverable_failure("out of memory while a database was read");
      throw;
    }
  };
  extract_database_texts(std::move(bytes), archive, max_database_text_bytes, process);
  return collection;
}

void process_database_text(database_collection& collection, const host_log& log, std::string text) {
  if (text.size() > max_database_text_bytes) {
    log.recoverable_failure(
        fmt::format("a database has more than {} bytes, which are the most that are read",
                    max_database_text_bytes));
    throw std::runtime_error("database too large");
  }
  if (kovax::nested_deeper_than(text, max_nesting)) throw std::runtime_error("nested too deep");
  database_document document(std::move(text));
  json& root = document.root();
  const json& meta = member(root, "meta");
  trace_db_config config;

  read_identity(config, meta);
  read_aliases(config, root);
  const decoder_configurations decoder = find_decoder_configurations(meta);
  // Masters prefer the older place, the configuration text below the newer one.
  read_masters(config, decoder);
  config.type_mapping_by_id = kovax::is_text(member(meta, "type_mapping"), "id");
  const json::array_t& descriptors = array_member(meta, "trace_type_descriptors");
  read_buffers(config, root);
  if (meta.contains("min_data_size")) config.min_data_size = to_u32(meta.at("min_data_size"));
  read_type_descriptors(config, descriptors);
  read_peer_buffers(config, root);
  read_traces(config, document);
  read_static_strings(config, root);
  if (const json* place = decoder.newer != nullptr ? decoder.newer : decoder.older) {
    config.decoder_config = place->dump();
  }
  std::string uuid = text_or(meta, "uuid", "UUID_UNKNOWN");
  config.name = text_or(meta, "name", "MCU");

  build_conversion_index(config);
  const std::string message = "processed config json: " + config.name;
  collection.append(std::move(config));
  collection.uuid = std::move(uuid);
  log.progress(message);
}

}  // namespace veltra
