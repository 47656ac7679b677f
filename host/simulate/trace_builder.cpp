#include "host/simulate/trace_builder.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <optional>

#include "host/simulate/frame_encoder.h"
#include "host/simulate/peer_buffer_table.h"
#include "host/simulate/trace_ids.h"

namespace veltra::host {

namespace {

constexpr std::string_view drop_count_text = "Dropped traces count: ";
constexpr std::string_view at_prefix = "AT";

void append_little_endian(std::string& to, std::uint32_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) to += static_cast<char>(value >> (8 * i) & 0xFF);
}

std::string trace_of(std::uint16_t trace_id) {
  std::string trace;
  append_little_endian(trace, trace_id, trace_id_size);
  return trace;
}

// A trace whose body follows its peer layer and the id of its buffer.
std::string dump(std::uint16_t trace_id, std::uint8_t layer, std::uint32_t buffer,
                 std::string_view body) {
  std::string trace = trace_of(trace_id);
  trace += static_cast<char>(layer);
  fmt::format_to(std::back_inserter(trace), "{}", buffer);
  trace += '\0';
  return trace.append(body);
}

// AT texts end at their first NUL.
std::string at_dump(std::uint32_t buffer, std::string_view text) {
  std::string trace = dump(trace_peer_dump_at, peer_layer_at, buffer, text);
  trace += '\0';
  return trace;
}

std::string formatted_text(std::uint16_t trace_id, std::string_view text) {
  std::string trace = trace_of(trace_id).append(text);
  trace += '\0';
  return trace;
}

// Whether the text of a formatted trace would be read as the number of a buffer: it is in
// the place of a dump's peer layer and buffer id.
bool reads_as_buffer_id(std::string_view text) {
  text.remove_prefix(std::min(text.size(), std::size_t{1}));
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(" \t\n\v\f\r")));
  if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

// The count of a dropped-traces warning, if decoding a warning with that count
// gives exactly `text`.
std::optional<std::uint32_t> dropped_traces(std::string_view text) {
  if (!text.starts_with(drop_count_text)) return std::nullopt;
  text.remove_prefix(drop_count_text.size());
  if (text.empty() || (text.size() > 1 && text.front() == '0')) return std::nullopt;
  std::uint32_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || stop != end) return std::nullopt;
  return count;
}

// A modem counts drops in its kernel and in its users; what each of them lost is
// not in the text, so both get their half.
std::string system_warning(std::uint32_t dropped) {
  std::string trace = trace_of(trace_system_warning);
  append_little_endian(trace, dropped / 2, drop_count_size);
  append_little_endian(trace, dropped - dropped / 2, drop_count_size);
  return trace;
}

std::string at_command_trace(std::string_view text) {
  // Decoding puts the prefix back.
  text.remove_prefix(at_prefix.size());
  const std::size_t last = text.find_last_not_of("\r\n");
  const bool reads = last != std::string_view::npos && text[last] == '?';
  return reads && !reads_as_buffer_id(text) ? formatted_text(trace_at_read_command, text)
                                            : at_dump(buffer_at_command, text);
}

std::string at_trace(std::string_view text) {
  if (const auto dropped = dropped_traces(text)) return system_warning(*dropped);
  if (text.starts_with(at_prefix)) return at_command_trace(text);
  const bool informs = text.starts_with('+') && !reads_as_buffer_id(text);
  return informs ? formatted_text(trace_at_information, text) : at_dump(buffer_at_answer, text);
}

std::string peer_dump(const peer_buffer& buffer, std::string_view body) {
  const std::uint16_t id =
      buffer.layer_id == peer_layer_nas ? trace_peer_dump_nas : trace_peer_dump_rrc;
  return dump(id, buffer.layer_id, buffer.id, body);
}

std::string unchecked_trace(const session_message& message, peer_buffer_table& table,
                            std::string_view session_name) {
  const std::string_view layer = message.layer;
  const std::string_view payload = message.payload;
  if (layer == "ip") return dump(trace_buffer_dump, peer_layer_pdcp, buffer_user_plane, payload);
  if (layer == "handshake_randbytes") {
    return dump(trace_buffer_dump, peer_layer_tls, buffer_tls_random, payload);
  }
  if (layer == "session_master") {
    return dump(trace_buffer_dump, peer_layer_tls, buffer_tls_master, payload);
  }
  if (layer == "at") {
    if (payload.find('\0') != std::string_view::npos) {
      refuse_line(session_name, message.line,
                  "the AT text contains a NUL byte, at which a trace would end it; remove it.");
    }
    return at_trace(payload);
  }
  if (const peer_buffer* buffer = table.find_or_add(layer)) return peer_dump(*buffer, payload);
  refuse_line(session_name, message.line,
              fmt::format("no trace can carry the layer \"{}\"; those that can be carried are ip, "
                          "at, nas-eps, handshake_randbytes, session_master, and lte_rrc. followed "
                          "by a channel: {}.",
                          printable(layer), rrc_channels));
}

}  // namespace

std::string build_trace(const session_message& message, peer_buffer_table& table,
                        std::string_view session_name) {
  std::string trace = unchecked_trace(message, table, session_name);
  if (trace.size() > max_trace_size) {
    refuse_line(session_name, message.line,
                fmt::format("the payload of {} bytes is too large for one trace, by {} bytes.",
                            message.payload.size(), trace.size() - max_trace_size));
  }
  return trace;
}

std::string build_database_uid_trace(std::string_view uuid) {
  std::string trace = trace_of(trace_database_uid).append("UID %s");
  trace += '\0';
  trace.append(uuid);
  return trace.append(3, '\0');
}

}  // namespace veltra::host
