#include "host/simulate/database_document.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <utility>

#include "host/simulate/archive_writer.h"
#include "host/simulate/trace_ids.h"
#include "implementation/json.h"

namespace veltra::host {

namespace {

using kovax::json;

constexpr std::string_view member_name = "trace_database.json";
constexpr int indentation = 2;

// The decoder's part: which frames it takes and how it reports a loss, which is
// the same trace that the firmware itself sends.
json decoder_configuration() {
  const json master = {{"id", core_master_id}, {"name", core_name}, {"aliases", json::array()}};
  return {
      {"format", "veltra-frames"},
      {"version", 1},
      {"masters", json::array({master})},
      {"loss_trace",
       {{"master_id", core_master_id},
        {"trace_id", trace_system_warning},
        {"trace_id_size", trace_id_size},
        {"endianness", "little"}}},
  };
}

json id_range(std::uint32_t first, std::uint32_t last) {
  return {{"id_range", {{"min", first}, {"max", last}}}};
}

json type_descriptor(std::string_view type, json conditions) {
  return {{"type", type}, {"conditions", std::move(conditions)}};
}

json type_descriptors() {
  return json::array({
      type_descriptor("peer_dump", json::array({id_range(first_peer_dump, last_peer_dump)})),
      type_descriptor("formatted", json::array({id_range(first_formatted, last_formatted),
                                                {{"trace_id", trace_system_warning}}})),
  });
}

json meta() {
  return {
      {"name", core_name},
      {"id", core_master_id},
      {"endianness", "little"},
      {"trace_id_size", trace_id_size},
      {"type_mapping", "id"},
      {"trace_type_descriptors", type_descriptors()},
      {"connection_configs", {{"dekodrix_config", decoder_configuration()}}},
  };
}

json named(std::uint32_t id, std::string_view name) {
  return {{"id", id}, {"name", name}};
}

json buffers() {
  // "REQ" marks the texts that get back the "AT" which the modem's parser took off.
  return {
      named(buffer_at_command, "AT_STRING_REQ"),
      named(buffer_at_answer, "AT_STRING_RSP"),
      named(buffer_user_plane, "EPDCP_UP_PACKET"),
      named(buffer_tls_random, "TLS_HANDSHAKE_RANDBYTES"),
      named(buffer_tls_master, "TLS_SESSION_MASTER"),
  };
}

json peer_layers() {
  return {
      named(peer_layer_at, "AT"),     named(peer_layer_rrc, "RRC"), named(peer_layer_nas, "NAS"),
      named(peer_layer_pdcp, "PDCP"), named(peer_layer_tls, "TLS"),
  };
}

json peer_buffer_list(const std::vector<peer_buffer>& peer_buffers) {
  json list = json::array();
  for (const peer_buffer& buffer : peer_buffers) {
    list.push_back({{"id", buffer.id},
                    {"layer", buffer.layer_id},
                    {"name", buffer.layer},
                    {"type", buffer.type}});
  }
  return list;
}

json definition(std::uint16_t id, std::string_view label) {
  return {{"id", id}, {"label", label}};
}

json sizes(std::initializer_list<std::size_t> values) {
  json items = json::array();
  for (const std::size_t value : values) items.push_back({{"size", value}});
  return items;
}

// A formatted trace; `items` belong to the placeholders of its `format`.
json formatted(std::uint16_t id, std::string_view label, std::string_view format, json items) {
  json result = definition(id, label);
  result["format"] = format;
  result["format_items"] = std::move(items);
  return result;
}

json traces() {
  return {
      formatted(trace_database_uid, "TRACE_DATABASE_UID", "UID %s", json::array()),
      definition(trace_buffer_dump, "TRACE_BUFFER_DUMP"),
      definition(trace_peer_dump_at, "TRACE_PEER_DUMP_AT"),
      definition(trace_peer_dump_rrc, "TRACE_PEER_DUMP_RRC"),
      definition(trace_peer_dump_nas, "TRACE_PEER_DUMP_NAS"),
      formatted(trace_at_read_command, "TRACE_AT_READ_COMMAND", "AT_STRING %s%s",
                json::array({{{"reference", string_at_command}}})),
      formatted(trace_at_information, "TRACE_AT_INFORMATION", "AT_STRING %s%s",
                json::array({{{"reference", string_at_answer}}})),
      // The first item is where the counts begin.
      formatted(trace_system_warning, "TRACE_SYSTEM_WARNING",
                "Traces dropped kernel: %hu user: %hu",
                sizes({trace_id_size, drop_count_size, drop_count_size})),
  };
}

json static_string(std::uint32_t id, std::string_view value) {
  return {{"id", id}, {"value", value}};
}

json static_data() {
  return {{"static_strings",
           {static_string(string_at_command, string_at_command_text),
            static_string(string_at_answer, string_at_answer_text)}}};
}

// FNV-1a, 64 bits. The second half of a UUID starts from another basis, the
// first one with its bits inverted, so that the halves differ.
constexpr std::uint64_t hash_basis = 0xCBF29CE484222325;
constexpr std::uint64_t hash_prime = 0x100000001B3;

std::uint64_t hash(std::string_view content, std::uint64_t basis) {
  for (const char c : content) basis = (basis ^ static_cast<unsigned char>(c)) * hash_prime;
  return basis;
}

// A UUID of version 8 in lower case that depends only on `content`, on every machine.
std::string uuid_of_content(std::string_view content) {
  // RFC 9562, section 5.8: four bits of version, two of variant, the rest is free.
  const std::uint64_t high = (hash(content, hash_basis) & ~0xF000ULL) | 0x8000ULL;
  const std::uint64_t low = (hash(content, ~hash_basis) & ~(3ULL << 62)) | (2ULL << 62);
  return fmt::format("{:08x}-{:04x}-{:04x}-{:04x}-{:012x}", high >> 32, high >> 16 & 0xFFFF,
                     high & 0xFFFF, low >> 48, low & 0xFFFFFFFFFFFF);
}

}  // namespace

database_document make_database_document(const std::vector<peer_buffer>& peer_buffers,
                                         const std::optional<std::string>& uuid) {
  json document = {
      {"meta", meta()},
      {"buffers", buffers()},
      {"peer_buffer_layers", peer_layers()},
      {"peer_buffers", peer_buffer_list(peer_buffers)},
      {"traces", traces()},
      {"static_data", static_data()},
  };
  database_document result;
  result.uuid = uuid ? *uuid : uuid_of_content(document.dump());
  document["meta"]["uuid"] = result.uuid;
  result.text = document.dump(indentation) + '\n';
  return result;
}

std::string archive_database(const database_document& document) {
  return gzip(ustar_archive(member_name, document.text));
}

}  // namespace veltra::host
