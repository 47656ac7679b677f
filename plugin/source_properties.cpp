#include "plugin/source_properties.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "implementation/json_values.h"
#include "plugin/limits.h"
#include "plugin/trace_payload.h"

namespace veltra {

namespace {

using kovax::json;

constexpr const char* category_network = "network";
constexpr const char* category_tls = "tls";
constexpr const char* layer_at = "at";
constexpr const char* layer_nas = "nas-eps";

// Where the text of a formatted AT trace begins, whatever the trace id's size.
constexpr std::size_t formatted_text_offset = 2;

// What a rule makes of a trace. The record for the host is made of it at the end and where
// the caller's result is: one that is copied soon after it was written costs more than the
// rest of a conversion.
struct packet_content {
  const char* layer;
  const char* category;
  std::string_view payload;
};
using converted = std::optional<packet_content>;

converted packet_of(const char* layer, std::string_view payload,
                    const char* category = category_network) {
  return packet_content{layer, category, payload};
}

converted no_packet(trace_db_config& config, no_packet_reason why) {
  config.index.why_no_packet = why;
  return std::nullopt;
}

bool has(const json& object, const char* key) {
  return object.is_object() && object.contains(key);
}

// The text of a definition's member, not copied.
std::string_view text_of(const json& value) {
  if (!value.is_string()) value.get<std::string>();  // throws type error 302
  return value.get_ref<const std::string&>();
}

converted convert_peer_message(trace_db_config& config, const trace_payload& payload) {
  if (!config.peer_buffer_layers.contains(payload.peer_layer_id)) {
    return no_packet(config, no_packet_reason::unknown_peer_layer);
  }
  const peer_buffer* peer = config.index.peers.find(
      config.peer_buffers, payload.buffer_id.value_or(0), payload.peer_layer_id);
  if (peer == nullptr) return no_packet(config, no_packet_reason::unknown_peer_buffer);
  switch (peer->message) {
    case peer_buffer::rule::incomplete:
      return no_packet(config, no_packet_reason::unknown_peer_buffer);
    case peer_buffer::rule::not_a_text:
      text_of(config.peer_buffers[peer->position].at("type"));  // throws
      break;
    case peer_buffer::rule::nas:
      return packet_of(layer_nas, payload.body);
    case peer_buffer::rule::rrc:
      return packet_of(peer->layer_name.c_str(), payload.body);
    case peer_buffer::rule::none:
      break;
  }
  return no_packet(config, no_packet_reason::message_without_rule);
}

converted at_packet(trace_db_config& config, bool command, std::string_view text) {
  if (!command) return packet_of(layer_at, text);
  config.index.payload.assign("AT").append(text);
  return packet_of(layer_at, config.index.payload);
}

converted convert_formatted_at(trace_db_config& config, const json& items,
                               const trace_payload& payload) {
  for (const json& item : items) {
    if (!has(item, "reference")) continue;
    const auto text = config.static_strings.find(kovax::to_u32(item.at("reference")));
    const bool command = text != config.static_strings.end() && text->second == "=>";
    const std::string_view bytes = payload.bytes;
    const std::size_t offset = std::min(formatted_text_offset, bytes.size());
    return at_packet(config, command, up_to_nul(bytes.substr(offset)));
  }
  return no_packet(config, no_packet_reason::format_without_rule);
}

std::uint32_t item_size(const json& item) {
  // A missing size is as wrong as one that is not a number.
  if (item.is_object() && !item.contains("size")) return kovax::to_u32(json());
  return kovax::to_u32(item["size"]);
}

// One counter of the dropped-traces warning; `offset` moves behind it.
std::uint32_t read_dropped_counter(std::string_view bytes, const json& item,
                                   std::uint64_t& offset) {
  std::uint32_t new_arg = 0;
  const std::uint32_t arg_len = item_size(item);
  KOVAX_CONTRACT(arg_len <= sizeof(new_arg));
  new_arg = read_little_endian(bytes, offset, arg_len);
  offset += arg_len;
  return new_arg;
}

converted convert_dropped_traces(trace_db_config& config, const json& items,
                                 const trace_payload& payload) {
  std::uint64_t offset = item_size(items[0]);
  const std::uint32_t kernel = read_dropped_counter(payload.bytes, items[1], offset);
  const std::uint32_t user = read_dropped_counter(payload.bytes, items[2], offset);
  config.index.payload = "Dropped traces count: " + std::to_string(kernel + user);
  return packet_of(layer_at, config.index.payload);
}

converted convert_formatted(trace_db_config& config, const trace_payload& payload) {
  const json* const definition = config.traces.find(payload.trace_id);
  if (definition == nullptr || !has(*definition, "format") || !has(*definition, "format_items")) {
    return no_packet(config, no_packet_reason::unknown_trace);
  }
  const std::string_view format = text_of(definition->at("format"));
  const json& items = definition->at("format_items");

  if (format.find("AT_STRING") != std::string_view::npos ||
      format.find("AT_DEBUG_STRING") != std::string_view::npos) {
    return convert_formatted_at(config, items, payload);
  }
  if (definition->contains("label") &&
      kovax::is_text(definition->at("label"), "TRACE_SYSTEM_WARNING") &&
      format.starts_with("Traces dropped kernel: %hu user: %hu") && items.is_array() &&
      items.size() > 2) {
    return convert_dropped_traces(config, items, payload);
  }
  return no_packet(config, no_packet_reason::format_without_rule);
}

converted convert_by_type(trace_db_config& config, const trace_payload& payload,
                          const buffer_traits& buffer) {
  if (!config.type_mapping_by_id) return no_packet(config, no_packet_reason::types_are_off);
  switch (config.index.types.find(payload.trace_id)) {
    case trace_type::peer_dump:
      if (buffer.at_string) return at_packet(config, buffer.request, up_to_nul(payload.body));
      return convert_peer_message(config, payload);
    case trace_type::formatted:
      return convert_formatted(config, payload);
    case trace_type::other:
      break;
  }
  return no_packet(config, no_packet_reason::type_without_rule);
}

// Some buffers name their payload, whatever the type of the trace.
converted convert_payload(trace_db_config& config, const trace_payload& payload) {
  buffer_traits buffer;
  if (payload.buffer_id) {
    const auto found = config.index.buffers.find(*payload.buffer_id);
    if (found != config.index.buffers.end()) buffer = found->second;
  }
  switch (buffer.payload) {
    case buffer_traits::rule::network:
      return packet_of("ip", payload.body);
    case buffer_traits::rule::tls_handshake_randbytes:
      return packet_of("handshake_randbytes", payload.body, category_tls);
    case buffer_traits::rule::tls_session_master:
      return packet_of("session_master", payload.body, category_tls);
    case buffer_traits::rule::none:
      break;
  }
  return convert_by_type(config, payload, buffer);
}

std::optional<trace_payload> parse(const trace_db_config& config, const dekodrix_trace& trace) {
  if (trace.data == nullptr) return std::nullopt;
  const std::string_view bytes(reinterpret_cast<const char*>(trace.data),
                               std::min(trace.data_length, max_packet_bytes));
  return parse_trace_payload(bytes, config.trace_id_size, config.little_endian);
}

}  // namespace

trace_type type_of_trace(const trace_db_config& config, const dekodrix_trace& trace) {
  const std::optional<trace_payload> payload = parse(config, trace);
  return payload ? config.index.types.find(payload->trace_id) : trace_type::other;
}

std::optional<kovax_stream_packet_t> convert_trace(trace_db_config& config,
                                                   const dekodrix_trace& trace) {
  std::optional<kovax_stream_packet_t> packet;
  const std::optional<trace_payload> payload = parse(config, trace);
  const converted content =
      payload ? convert_payload(config, *payload) : no_packet(config, no_packet_reason::no_content);
  if (!content) return packet;
  packet.emplace();
  packet->data = reinterpret_cast<const std::uint8_t*>(content->payload.data());
  packet->data_size = static_cast<std::uint32_t>(content->payload.size());
  packet->format = content->layer;
  packet->category = content->category;
  packet->field_32 = 1;
  packet->timestamp = trace.timestamp;
  return packet;
}

}  // namespace veltra
