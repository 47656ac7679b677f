#include "host/report/nas_copies.h"

#include <algorithm>
#include <cstddef>

namespace veltra::report {

namespace {

// How far apart the two may be. Both are traced by one modem within a millisecond.
constexpr std::uint64_t max_distance = 5'000'000;  // nanoseconds
constexpr std::size_t max_messages_between = 8;

// The direction of those types that only one side sends (TS 24.301, 8.2 and 8.3).
direction direction_of_type(const message& line) {
  for (const emm_message type :
       {emm_message::attach_request, emm_message::attach_complete,
        emm_message::tracking_area_update_request, emm_message::tracking_area_update_complete,
        emm_message::extended_service_request, emm_message::control_plane_service_request,
        emm_message::authentication_response, emm_message::identity_response,
        emm_message::authentication_failure, emm_message::security_mode_complete,
        emm_message::security_mode_reject, emm_message::uplink_nas_transport,
        emm_message::service_request}) {
    if (line.is(type)) return direction::uplink;
  }
  for (const emm_message type :
       {emm_message::attach_accept, emm_message::attach_reject,
        emm_message::tracking_area_update_accept, emm_message::tracking_area_update_reject,
        emm_message::service_reject, emm_message::service_accept,
        emm_message::authentication_request, emm_message::authentication_reject,
        emm_message::identity_request, emm_message::security_mode_command,
        emm_message::downlink_nas_transport}) {
    if (line.is(type)) return direction::downlink;
  }
  for (const esm_message type :
       {esm_message::activate_default_bearer_accept, esm_message::activate_default_bearer_reject,
        esm_message::activate_dedicated_bearer_accept,
        esm_message::activate_dedicated_bearer_reject, esm_message::modify_bearer_accept,
        esm_message::modify_bearer_reject, esm_message::deactivate_bearer_accept,
        esm_message::pdn_connectivity_request, esm_message::pdn_disconnect_request,
        esm_message::information_response}) {
    if (line.is(type)) return direction::uplink;
  }
  for (const esm_message type :
       {esm_message::activate_default_bearer_request,
        esm_message::activate_dedicated_bearer_request, esm_message::modify_bearer_request,
        esm_message::deactivate_bearer_request, esm_message::pdn_connectivity_reject,
        esm_message::pdn_disconnect_reject, esm_message::information_request}) {
    if (line.is(type)) return direction::downlink;
  }
  return direction::unknown;
}

// Both sides send a detach request. tshark decides by its length which one it is.
direction direction_of_detach(const message& line) {
  if (line.fields.has(field::nas_detach_sent)) return direction::uplink;
  if (line.fields.has(field::nas_detach_received)) return direction::downlink;
  return direction::unknown;
}

bool can_carry(const message& carrier, const message& line, direction way) {
  if (!carrier.carries_nas || carrier.nas_copy != 0) return false;
  if (way != direction::unknown && carrier.direction != way) return false;
  const std::uint64_t distance =
      carrier.time > line.time ? carrier.time - line.time : line.time - carrier.time;
  if (distance > max_distance) return false;
  // A ciphered copy has no type; a plain one has the line's.
  const auto carried = carrier.fields.number(field::nas_emm_type);
  return !carried || carried == line.fields.number(field::nas_emm_type);
}

message* find_carrier(std::vector<message>& messages, std::size_t line, direction way) {
  for (std::size_t distance = 1; distance <= max_messages_between; ++distance) {
    // What is sent is traced on its way down: the RRC message comes after the line. What is
    // received comes up.
    if (way != direction::downlink && line + distance < messages.size() &&
        can_carry(messages[line + distance], messages[line], direction::uplink)) {
      return &messages[line + distance];
    }
    if (way != direction::uplink && distance <= line &&
        can_carry(messages[line - distance], messages[line], direction::downlink)) {
      return &messages[line - distance];
    }
  }
  return nullptr;
}

}  // namespace

void match_nas_copies(std::vector<message>& messages) {
  for (std::size_t i = 0; i < messages.size(); ++i) {
    message& line = messages[i];
    if (line.layer != layer::nas) continue;
    if (line.direction == direction::unknown) line.direction = direction_of_type(line);
    if (message* const carrier = find_carrier(messages, i, line.direction)) {
      carrier->nas_copy = line.frame;
      line.direction = carrier->direction;
    }
    if (line.direction == direction::unknown) line.direction = direction_of_detach(line);
  }
}

}  // namespace veltra::report
