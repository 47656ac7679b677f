#include "host/report/message.h"

#include <charconv>
#include <system_error>
#include <utility>

#include "host/output/pcapng_blocks.h"

namespace veltra::report {

namespace {

static_assert(static_cast<int>(rrc_message::connection_request) ==
              static_cast<int>(field::rrc_connection_request));
static_assert(static_cast<int>(rrc_message::release) == static_cast<int>(field::rrc_release));
static_assert(static_cast<int>(rrc_message::system_information_1) ==
              static_cast<int>(field::rrc_system_information_1));

constexpr std::uint64_t service_request_header = 12;
constexpr char control_z = '\x1A';

// Link types of IP packets without a link layer (registry of tcpdump.org).
bool is_ip_link(std::uint16_t link_type) {
  return link_type == host::pcapng::link_type_raw_ip || link_type == 228 || link_type == 229;
}

layer layer_of(const capture_frame& frame) {
  if (is_ip_link(frame.link_type)) return layer::ip;
  if (frame.dissector == "at") return layer::at;
  if (frame.dissector == "nas-eps") return layer::nas;
  if (frame.dissector.starts_with("lte_rrc.")) return layer::rrc;
  return layer::other;
}

// The lines of an AT text without what ends them.
std::string at_text(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (byte == '\r') continue;
    text += static_cast<char>(byte);
  }
  const std::size_t first = text.find_first_not_of("\n ");
  if (first == std::string::npos) return {};
  text.erase(0, first);
  text.erase(text.find_last_not_of("\n ") + 1);
  return text;
}

std::uint64_t lost_traces(std::string_view text) {
  constexpr std::string_view label = "Dropped traces count: ";
  std::uint64_t count = 0;
  if (!text.starts_with(label)) return 0;
  const auto [end, error] =
      std::from_chars(text.data() + label.size(), text.data() + text.size(), count);
  return error == std::errc() ? count : 0;
}

rrc_message rrc_kind(const field_values& fields) {
  for (int kind = 0; kind < static_cast<int>(rrc_message::none); ++kind) {
    if (fields.has(static_cast<field>(kind))) return static_cast<rrc_message>(kind);
  }
  return rrc_message::none;
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

void set_text(message& result, const capture_frame& frame) {
  if (result.layer == layer::at) {
    result.name = at_text(frame.bytes);
    result.traces_lost = lost_traces(result.name);
    if (frame.direction == way::sent) result.direction = direction::command;
    if (frame.direction == way::received) result.direction = direction::answer;
    // The host ends a short message's text so (TS 27.005, 3.5.1); the capture only knows "AT".
    if (result.name.ends_with(control_z)) result.direction = direction::command;
    return;
  }
  result.name = trimmed(result.fields.text(field::info_column));
  if (result.name.empty()) result.name = trimmed(result.fields.text(field::protocol_column));
}

}  // namespace

std::string_view layer_name(layer which) {
  switch (which) {
    case layer::at:
      return "at";
    case layer::rrc:
      return "rrc";
    case layer::nas:
      return "nas";
    case layer::ip:
      return "ip";
    case layer::other:
      break;
  }
  return "other";
}

std::string_view direction_name(direction which) {
  switch (which) {
    case direction::uplink:
      return "uplink";
    case direction::downlink:
      return "downlink";
    case direction::command:
      return "command";
    case direction::answer:
      return "answer";
    case direction::unknown:
      break;
  }
  return "";
}

bool message::is(emm_message which) const {
  if (!has_nas()) return false;
  if (which == emm_message::service_request) {
    return fields.has_number(field::nas_security_header, service_request_header);
  }
  return fields.has_number(field::nas_emm_type, static_cast<std::uint64_t>(which));
}

bool message::is(esm_message which) const {
  return has_nas() && fields.has_number(field::nas_esm_type, static_cast<std::uint64_t>(which));
}

message make_message(const capture_frame& frame, field_values fields) {
  message result;
  result.frame = frame.number;
  result.time = frame.time;
  result.layer = layer_of(frame);
  result.channel = result.layer == layer::ip ? "ip" : std::string(frame.dissector);
  if (result.layer == layer::other && !frame.protocol.empty()) result.channel = frame.protocol;
  result.size = frame.full_size;
  result.fields = std::move(fields);
  if (frame.direction == way::sent) result.direction = direction::uplink;
  if (frame.direction == way::received) result.direction = direction::downlink;
  set_text(result, frame);
  if (result.layer == layer::rrc) {
    result.rrc = rrc_kind(result.fields);
    result.narrow_band = result.channel.ends_with(".nb");
    result.carries_nas = result.fields.has(field::nas_security_header) ||
                         result.fields.has(field::nas_emm_type) ||
                         result.fields.has(field::nas_esm_type);
  }
  return result;
}

}  // namespace veltra::report
