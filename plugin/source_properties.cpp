#include "plugin/source_properties.h"

#include <algorithm>
#include <array>
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

using converted = std::optional<kovax_stream_packet_t>;

kovax_stream_packet_t packet_of(const char* layer, std::string_view payload,
                                const char* category = category_network) {
  kovax_stream_packet_t packet{};
  packet.data = reinterpret_cast<const std::uint8_t*>(payload.data());
  packet.data_size = static_cast<std::uint32_t>(payload.size());
  packet.format = layer;
  packet.category = category;
  packet.field_32 = 1;
  return packet;
}

converted no_packet(trace_db_config& config, no_packet_reason why) {
  config.index.why_no_packet = why;
  return std::nullopt;
}

// The runs of characters between underscores; those past the fifth are only
// counted as "five or more".
struct name_tokens {
  static constexpr std::size_t max_count = 5;
  std::array<std::string_view, max_count> token;
  std::size_t count = 0;
};

name_tokens split_at_underscores(std::string_view text) {
  name_tokens tokens;
  while (tokens.count < name_tokens::max_count) {
    const std::size_t begin = text.find_first_not_of('_');
    if (begin == std::string_view::npos) break;
    text.remove_prefix(begin);
    const std::string_view token = text.substr(0, text.find('_'));
    tokens.token[tokens.count++] = token;
    text.remove_prefix(token.size());
  }
  return tokens;
}

// Makes the layer's name of an RRC message type such as "DL_DCCH_Message" in
// `name`; false when the type names no channel.
bool make_rrc_layer_name(std::string_view type, std::string& name) {
  const name_tokens tokens = split_at_underscores(type);
  const auto& t = tokens.token;
  if (tokens.count < 2) return false;
  name.assign("lte_rrc.").append(t[0]);
  switch (tokens.count) {
    case 2:
      name.append(t[1] == "nb" ? "." : "_").append(t[1]);
      break;
    case 3:
      name.append("_").append(t[1]).append(t[2] == "sch" ? "_" : ".").append(t[2]);
      break;
    case 4:
      name.append("_").append(t[1]).append("_").append(t[2]).append(".").append(t[3]);
      break;
    default:
      break;
  }
  return true;
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
  const json* peer = config.index.peers.find(config.peer_buffers, payload.buffer_id.value_or(0),
                                             payload.peer_layer_id);
  if (peer == nullptr || !has(*peer, "name") || !has(*peer, "type")) {
    return no_packet(config, no_packet_reason::unknown_peer_buffer);
  }

  constexpr std::string_view rrc_prefix = "ASN_";
  std::string_view type = text_of(peer->at("type"));
  if (type.starts_with("NAS_PDU")) return packet_of(layer_nas, payload.body);
  if (!type.starts_with(rrc_prefix)) {
    return no_packet(config, no_packet_reason::message_without_rule);
  }
  type.remove_prefix(rrc_prefix.size());
  if (!make_rrc_layer_name(type, config.layer_name)) {
    return no_packet(config, no_packet_reason::message_without_rule);
  }
  return packet_of(config.layer_name.c_str(), payload.body);
}

kovax_stream_packet_t at_packet(trace_db_config& config, bool command, std::string_view text) {
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
  const auto found = config.traces.find(payload.trace_id);
  if (found == config.traces.end()) return no_packet(config, no_packet_reason::unknown_trace);
  const json& definition = found->second;
  if (!has(definition, "format") || !has(definition, "format_items")) {
    return no_packet(config, no_packet_reason::unknown_trace);
  }
  const std::string_view format = text_of(definition.at("format"));
  const json& items = definition.at("format_items");

  if (format.find("AT_STRING") != std::string_view::npos ||
      format.find("AT_DEBUG_STRING") != std::string_view::npos) {
    return convert_formatted_at(config, items, payload);
  }
  if (definition.contains("label") &&
      kovax::is_text(definition.at("label"), "TRACE_SYSTEM_WARNING") &&
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

converted convert_trace(trace_db_config& config, const dekodrix_trace& trace) {
  const std::optional<trace_payload> payload = parse(config, trace);
  if (!payload) return no_packet(config, no_packet_reason::no_content);
  converted packet = convert_payload(config, *payload);
  if (packet) packet->timestamp = trace.timestamp;
  return packet;
}

}  // namespace veltra
