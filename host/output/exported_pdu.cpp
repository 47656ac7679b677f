#include "host/output/exported_pdu.h"

#include <cstdint>

namespace veltra::host {

namespace {

// Tags of the exported PDU list.
constexpr std::uint16_t tag_end = 0;
constexpr std::uint16_t tag_dissector_name = 12;
constexpr std::uint16_t tag_protocol_column = 33;
constexpr std::uint16_t tag_direction = 35;

// Values of tag 35.
constexpr std::uint32_t direction_sent = 0;
constexpr std::uint32_t direction_received = 1;
constexpr std::uint32_t direction_unknown = 0xFFFFFFFF;

constexpr std::size_t longest_text = 255;

void append_u16(std::string& to, std::size_t value) {
  to += static_cast<char>(value >> 8 & 0xff);
  to += static_cast<char>(value & 0xff);
}

void append_item(std::string& to, std::uint16_t tag, std::string_view value) {
  const std::size_t padding = (4 - value.size() % 4) % 4;
  append_u16(to, tag);
  append_u16(to, value.size() + padding);
  to += value;
  to.append(padding, '\0');
}

std::uint32_t tag_value(direction way) {
  switch (way) {
    case direction::sent:
      return direction_sent;
    case direction::received:
      return direction_received;
    case direction::unknown:
      break;
  }
  return direction_unknown;
}

}  // namespace

std::string exported_pdu_header(std::string_view dissector_name, direction way,
                                std::string_view protocol_text, direction_tag tag) {
  std::string header;
  append_item(header, tag_dissector_name, dissector_name.substr(0, longest_text));
  if (!protocol_text.empty()) {
    append_item(header, tag_protocol_column, protocol_text.substr(0, longest_text));
  }
  if (way != direction::unknown || tag == direction_tag::always) {
    std::string value;
    append_u16(value, tag_value(way) >> 16);
    append_u16(value, tag_value(way));
    append_item(header, tag_direction, value);
  }
  append_item(header, tag_end, {});
  return header;
}

}  // namespace veltra::host
