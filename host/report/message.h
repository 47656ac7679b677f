// message.h - one frame of a capture as an event of the signalling.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/report/capture_reader.h"
#include "host/report/field_values.h"

namespace veltra::report {

enum class layer : std::uint8_t { at, rrc, nas, ip, other };

std::string_view layer_name(layer which);

enum class direction : std::uint8_t {
  unknown,
  uplink,    // from the modem to the network
  downlink,  // from the network to the modem
  command,   // from the host to the modem
  answer,    // from the modem to the host
};

std::string_view direction_name(direction which);

// RRC messages that procedures consist of (TS 36.331, 6.2.2), those for narrow-band IoT
// included. The values are those of enum field.
enum class rrc_message : std::uint8_t {
  connection_request,
  connection_setup,
  connection_setup_complete,
  connection_reject,
  reestablishment_request,
  reestablishment,
  reestablishment_complete,
  reestablishment_reject,
  resume_request,
  resume,
  resume_complete,
  reconfiguration,
  reconfiguration_complete,
  security_mode_command,
  security_mode_complete,
  security_mode_failure,
  release,
  mobility_from_eutra,
  measurement_report,
  paging,
  system_information_1,
  none,
};

// EPS mobility management messages (TS 24.301, table 9.8.1).
enum class emm_message : std::uint8_t {
  none = 0,
  attach_request = 0x41,
  attach_accept = 0x42,
  attach_complete = 0x43,
  attach_reject = 0x44,
  detach_request = 0x45,
  detach_accept = 0x46,
  tracking_area_update_request = 0x48,
  tracking_area_update_accept = 0x49,
  tracking_area_update_complete = 0x4a,
  tracking_area_update_reject = 0x4b,
  extended_service_request = 0x4c,
  control_plane_service_request = 0x4d,
  service_reject = 0x4e,
  service_accept = 0x4f,
  authentication_request = 0x52,
  authentication_response = 0x53,
  authentication_reject = 0x54,
  identity_request = 0x55,
  identity_response = 0x56,
  authentication_failure = 0x5c,
  security_mode_command = 0x5d,
  security_mode_complete = 0x5e,
  security_mode_reject = 0x5f,
  downlink_nas_transport = 0x62,
  uplink_nas_transport = 0x63,
  // A SERVICE REQUEST has no message type of its own (9.9.3.1, security header type 12).
  service_request = 0xff,
};

// EPS session management messages (TS 24.301, table 9.8.2).
enum class esm_message : std::uint8_t {
  none = 0,
  activate_default_bearer_request = 0xc1,
  activate_default_bearer_accept = 0xc2,
  activate_default_bearer_reject = 0xc3,
  activate_dedicated_bearer_request = 0xc5,
  activate_dedicated_bearer_accept = 0xc6,
  activate_dedicated_bearer_reject = 0xc7,
  modify_bearer_request = 0xc9,
  modify_bearer_accept = 0xca,
  modify_bearer_reject = 0xcb,
  deactivate_bearer_request = 0xcd,
  deactivate_bearer_accept = 0xce,
  pdn_connectivity_request = 0xd0,
  pdn_connectivity_reject = 0xd1,
  pdn_disconnect_request = 0xd2,
  pdn_disconnect_reject = 0xd3,
  information_request = 0xd9,
  information_response = 0xda,
  data_transport = 0xeb,
};

// A frame that is not one of many IP packets.
struct message {
  std::uint32_t frame = 0;  // its number in Wireshark
  std::uint64_t time = 0;   // nanoseconds, as in the capture
  report::layer layer = report::layer::other;
  report::direction direction = report::direction::unknown;
  std::string channel;     // the layer's name in the capture, e.g. "lte_rrc.dl_dcch"
  std::string name;        // what tshark shows, or the text of an AT line; may be empty
  std::uint32_t size = 0;  // bytes
  field_values fields;

  rrc_message rrc = rrc_message::none;
  bool narrow_band = false;       // an RRC message of narrow-band IoT
  bool carries_nas = false;       // an RRC message with a NAS message in it
  std::uint32_t nas_copy = 0;     // frame of the same NAS message on a line of its own; 0: none
  std::uint64_t traces_lost = 0;  // the modem's report that it lost so many
  bool clock_restarted = false;   // the modem's clock went back before this frame

  // The NAS messages in it count; false if they are those of `nas_copy`.
  bool has_nas() const { return nas_copy == 0; }
  bool is(rrc_message which) const { return rrc == which; }
  bool is(emm_message which) const;
  bool is(esm_message which) const;
};

// Puts together what the capture and tshark say about one frame.
message make_message(const capture_frame& frame, field_values fields);

}  // namespace veltra::report
