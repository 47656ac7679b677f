#include "plugin/source_properties.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "implementation/json_numbers.h"
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

// One packet on its way: emits at most once.
class emitter {
 public:
  emitter(const dekodrix_trace& trace, const packet_sink& sink) : trace_(trace), sink_(sink) {}

  void emit(const char* layer, std::string_view payload, const char* category) const {
    kovax_stream_packet_t packet{};
    packet.data = reinterpret_cast<const std::uint8_t*>(payload.data());
    packet.data_size = static_cast<std::uint32_t>(payload.size());
    packet.format = layer;
    packet.category = category;
    packet.field_32 = 1;
    packet.timestamp = trace_.timestamp;
    sink_(packet);
  }

 private:
  const dekodrix_trace& trace_;
  const packet_sink& sink_;
};

// The runs of characters between underscores; those past the fifth are only
// counted as "five or more".
struct name_tokens {
  static constexpr std::size_t most = 5;
  std::array<std::string_view, most> token;
  std::size_t count = 0;
};

name_tokens split_at_underscores(std::string_view text) {
  name_tokens tokens;
  while (tokens.count < name_tokens::most) {
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

void convert_peer_message(trace_db_config& config, const trace_payload& payload,
                          const emitter& out) {
  if (!config.peer_buffer_layers.contains(payload.peer_layer_id)) return;
  const json* peer = config.index.peers.find(config.peer_buffers, payload.buffer_id.value_or(0),
                                             payload.peer_layer_id);
  if (peer == nullptr || !has(*peer, "name") || !has(*peer, "type")) return;

  constexpr std::string_view rrc_prefix = "ASN_";
  std::string_view type = text_of(peer->at("type"));
  if (type.starts_with(rrc_prefix)) {
    type.remove_prefix(rrc_prefix.size());
    if (!make_rrc_layer_name(type, config.layer_name)) return;
    out.emit(config.layer_name.c_str(), payload.body, category_network);
  } else if (type.starts_with("NAS_PDU")) {
    out.emit(layer_nas, payload.body, category_network);
  }
}

void emit_at_text(trace_db_config& config, bool command, std::string_view text,
                  const emitter& out) {
  if (!command) {
    out.emit(layer_at, text, category_network);
    return;
  }
  config.index.payload.assign("AT").append(text);
  out.emit(layer_at, config.index.payload, category_network);
}

void convert_formatted_at(trace_db_config& config, const json& items, const trace_payload& payload,
                          const emitter& out) {
  for (const json& item : items) {
    if (!has(item, "reference")) continue;
    const auto text = config.static_strings.find(kovax::to_u32(item.at("reference")));
    const bool command = text != config.static_strings.end() && text->second == "=>";
    const std::string_view bytes = payload.bytes;
    const std::size_t offset = std::min(formatted_text_offset, bytes.size());
    emit_at_text(config, command, up_to_nul(bytes.substr(offset)), out);
    return;
  }
}

std::uint32_t item_size(const json& item) {
  // A missing size is as wrong as one that is no number.
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

void convert_dropped_traces(trace_db_config& config, const json& items,
                            const trace_payload& payload, const emitter& out) {
  std::uint64_t offset = item_size(items[0]);
  const std::uint32_t kernel = read_dropped_counter(payload.bytes, items[1], offset);
  const std::uint32_t user = read_dropped_counter(payload.bytes, items[2], offset);
  config.index.payload = "Dropped traces count: " + std::to_string(kernel + user);
  out.emit(layer_at, config.index.payload, category_network);
}

void convert_formatted(trace_db_config& config, const trace_payload& payload, const emitter& out) {
  const auto found = config.traces.find(payload.trace_id);
  if (found == config.traces.end()) return;
  const json& definition = found->second;
  if (!has(definition, "format") || !has(definition, "format_items")) return;
  const std::string_view format = text_of(definition.at("format"));
  const json& items = definition.at("format_items");

  if (format.find("AT_STRING") != std::string_view::npos ||
      format.find("AT_DEBUG_STRING") != std::string_view::npos) {
    convert_formatted_at(config, items, payload, out);
  } else if (definition.contains("label") && definition.at("label") == "TRACE_SYSTEM_WARNING" &&
             format.starts_with("Traces dropped kernel: %hu user: %hu") && items.is_array() &&
             items.size() > 2) {
    convert_dropped_traces(config, items, payload, out);
  }
}

}  // namespace

void convert_trace(trace_db_config& config, const dekodrix_trace& trace, const packet_sink& sink) {
  if (trace.data == nullptr) return;
  const std::string_view bytes(reinterpret_cast<const char*>(trace.data),
                               static_cast<std::size_t>(trace.data_length));
  const std::optional<trace_payload> payload =
      parse_trace_payload(bytes, config.trace_id_size, config.little_endian);
  if (!payload) return;

  const emitter out(trace, sink);
  buffer_traits buffer;
  if (payload->buffer_id) {
    const auto found = config.index.buffers.find(*payload->buffer_id);
    if (found != config.index.buffers.end()) buffer = found->second;
  }
  switch (buffer.payload) {
    case buffer_traits::rule::network:
      return out.emit("ip", payload->body, category_network);
    case buffer_traits::rule::tls_handshake_randbytes:
      return out.emit("handshake_randbytes", payload->body, category_tls);
    case buffer_traits::rule::tls_session_master:
      return out.emit("session_master", payload->body, category_tls);
    case buffer_traits::rule::none:
      break;
  }

  if (!config.type_mapping_by_id) return;
  switch (config.index.types.find(payload->trace_id)) {
    case trace_type::peer_dump:
      if (buffer.at_string) {
        emit_at_text(config, buffer.request, up_to_nul(payload->body), out);
      } else {
        convert_peer_message(config, *payload, out);
      }
      break;
    case trace_type::formatted:
      convert_formatted(config, *payload, out);
      break;
    case trace_type::other:
      break;
  }
}

}  // namespace veltra
