#include "plugin/trace_payload.h"

#include <algorithm>

namespace veltra {

namespace {

constexpr std::size_t max_buffer_id_text = 255;

// 64 bits hold any smaller number and a digit behind it.
constexpr std::uint64_t max_before_digit = UINT64_MAX / 10;

std::uint32_t reverse_bytes(std::uint32_t value) {
  return value >> 24 | (value >> 8 & 0xFF00U) | (value << 8 & 0xFF0000U) | value << 24;
}

std::uint32_t in_target_order(std::uint32_t id, std::uint32_t size, bool little_endian) {
  if (little_endian) return id;
  if (size == 2) return (id >> 8 | id << 8) & 0xFFFFU;
  if (size == 4) return reverse_bytes(id);
  return id;  // other widths are never swapped
}

// As the C locale's isspace().
bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace

std::optional<trace_payload> parse_trace_payload(std::string_view bytes,
                                                 std::uint32_t trace_id_size, bool little_endian) {
  std::optional<trace_payload> payload;
  if (bytes.size() <= trace_id_size) return payload;
  payload.emplace();
  payload->bytes = bytes;
  payload->trace_id =
      in_target_order(read_little_endian(bytes, 0, trace_id_size), trace_id_size, little_endian);
  payload->peer_layer_id = static_cast<std::uint8_t>(bytes[trace_id_size]);

  const std::size_t text_start = trace_id_size + 1;
  const std::string_view text = up_to_nul(bytes.substr(text_start, max_buffer_id_text));
  const std::size_t body_start = text_start + text.size() + 1;
  if (body_start <= bytes.size()) {
    payload->buffer_id = scan_unsigned(text);
    payload->body = bytes.substr(body_start);
  }
  return payload;
}

std::uint32_t scan_unsigned(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && is_blank(text[at])) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) negative = text[at++] == '-';

  std::uint64_t value = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    const auto digit = static_cast<std::uint64_t>(text[at] - '0');
    if (value >= max_before_digit && value > (UINT64_MAX - digit) / 10) {
      return UINT32_MAX;  // saturated, whatever the sign
    }
    value = value * 10 + digit;
  }
  return static_cast<std::uint32_t>(negative ? 0 - value : value);
}

std::string_view up_to_nul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

std::uint32_t read_little_endian(std::string_view bytes, std::uint64_t offset,
                                 std::uint32_t count) {
  if (offset > bytes.size() || count > bytes.size() - offset) return 0;
  std::uint32_t value = 0;
  for (std::uint32_t i = 0; i < std::min<std::uint32_t>(count, sizeof value); ++i) {
    value |= std::uint32_t{static_cast<std::uint8_t>(bytes[offset + i])} << (8 * i);
  }
  return value;
}

}  // namespace veltra
