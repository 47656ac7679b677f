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
#include <stdexcept>
#include <string_view>

#include "implementation/json.h"
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

void expect_sound(const veltra::database_collection& collection) {
  KOVAX_CONTRACT(collection.configs().size() == 1);
  const veltra::trace_db_config& config = collection.configs().front();
  KOVAX_CONTRACT(config.ids.contains(config.id));
  KOVAX_CONTRACT(config.trace_id_size <= 4);
  KOVAX_CONTRACT(!config.decoder_config || json::accept(*config.decoder_config));
  for (const auto& [id, trace] : config.traces) KOVAX_CONTRACT(trace.contains("id"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (breaks_a_contract(json::parse(text, nullptr, /*allow_exceptions=*/false))) return 0;

  veltra::database_collection collection;
  try {
    veltra::extract_database_texts(text, /*archive=*/false, text.size(),
                                   [&](std::string_view database) {
                                     veltra::process_database_text(collection, {}, database);
                                   });
  } catch (const std::runtime_error& refusal) {
    KOVAX_CONTRACT(refusal.what() ==
                   std::string_view("Trace database has missing fields or is invalid"));
    KOVAX_CONTRACT(collection.configs().empty() && collection.uuid.empty());
    return 0;
  }
  expect_sound(collection);
  return 0;
}
