// trace_db_fuzz.cpp - any text as a trace database.
//
// Every outcome is one record that keeps its promises, or the reader's one message
// and nothing else. A database whose array elements lack what they must have stops
// the process by design: such a text is known by the rules of docs/database-format.md
// and left out, as are a few that are refused before it would come to that.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "implementation/json.h"
#include "implementation/json_values.h"
#include "plugin/database/database_reader.h"
#include "plugin/trace_db.h"

namespace {

using kovax::json;

const json& member(const json& value, const char* key) {
  static const json none;
  return value.is_object() && value.contains(key) ? value.at(key) : none;
}

// Whether an object of the list lacks one of the members.
bool lacks(const json& list, std::initializer_list<const char*> keys) {
  return std::any_of(list.begin(), list.end(), [&](const json& element) {
    return element.is_object() && std::any_of(keys.begin(), keys.end(), [&](const char* key) {
             return !element.contains(key);
           });
  });
}

bool breaks_a_contract(const json& root) {
  const json& meta = member(root, "meta");
  const json& newer = member(member(meta, "connection_configs"), "dekodrix_config");
  const json& descriptors = member(meta, "trace_type_descriptors");
  const json& layers = member(root, "peer_buffer_layers");
  return lacks(member(meta, "aliases"), {"id"}) ||
         lacks(member(member(meta, "decoder_config"), "masters"), {"id", "aliases"}) ||
         lacks(member(newer, "masters"), {"id", "aliases"}) ||
         lacks(descriptors, {"conditions", "type"}) ||
         std::any_of(descriptors.begin(), descriptors.end(),
                     [](const json& element) { return !element.is_object(); }) ||
         lacks(member(root, "buffers"), {"id", "name"}) ||
         std::any_of(
             layers.begin(), layers.end(),
             [](const json& layer) { return layer.contains("id") && !layer.contains("name"); }) ||
         lacks(member(root, "traces"), {"id"}) ||
         lacks(member(member(root, "static_data"), "static_strings"), {"id", "value"});
}

// The record has each definition of `root`, of those with one id the first.
void expect_definitions(veltra::trace_db_config& config, const json& root) {
  std::map<std::uint32_t, const json*> wanted;
  for (const json& trace : member(root, "traces")) {
    wanted.try_emplace(kovax::to_u32(trace.at("id")), &trace);
  }
  KOVAX_CONTRACT(config.traces.size() == wanted.size());
  for (const auto& [id, definition] : wanted) {
    const json* const found = config.traces.find(id);
    KOVAX_CONTRACT(found != nullptr && *found == *definition);
  }
}

void expect_sound(veltra::database_collection& collection, const json& root) {
  KOVAX_CONTRACT(collection.configs().size() == 1);
  veltra::trace_db_config& config =
      *collection.find_config_for_master(collection.configs().front().id);
  KOVAX_CONTRACT(config.ids.contains(config.id));
  KOVAX_CONTRACT(config.trace_id_size <= 4);
  KOVAX_CONTRACT(!config.decoder_config || json::accept(*config.decoder_config));
  expect_definitions(config, root);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const json root = json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (breaks_a_contract(root)) return 0;

  veltra::database_collection collection;
  try {
    veltra::extract_database_texts(
        std::string(text), /*archive=*/false, text.size(), [&](std::string database) {
          veltra::process_database_text(collection, {}, std::move(database));
        });
  } catch (const std::runtime_error& refusal) {
    KOVAX_CONTRACT(refusal.what() ==
                   std::string_view("Trace database has missing fields or is invalid"));
    KOVAX_CONTRACT(collection.configs().empty() && collection.uuid.empty());
    return 0;
  }
  expect_sound(collection, root);
  return 0;
}
