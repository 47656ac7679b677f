// tshark_fields.h - what is asked of tshark: the one table of its fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace veltra::report {

// What the report wants to know of a frame. The RRC messages come first, each as a field that a
// message of its kind has; see rrc_message in message.h.
enum class field : std::uint8_t {
  rrc_connection_request,
  rrc_connection_setup,
  rrc_connection_setup_complete,
  rrc_connection_reject,
  rrc_reestablishment_request,
  rrc_reestablishment,
  rrc_reestablishment_complete,
  rrc_reestablishment_reject,
  rrc_resume_request,
  rrc_resume,
  rrc_resume_complete,
  rrc_reconfiguration,
  rrc_reconfiguration_complete,
  rrc_security_mode_command,
  rrc_security_mode_complete,
  rrc_security_mode_failure,
  rrc_release,
  rrc_mobility_from_eutra,
  rrc_measurement_report,
  rrc_paging,
  rrc_system_information_1,

  frame_number,
  protocol_column,
  info_column,
  expert_severity,

  rrc_mobility_control_info,
  rrc_target_cell,
  rrc_target_frequency,
  rrc_cell,
  rrc_wait_time,
  rrc_extended_wait_time,
  rrc_reestablishment_cause,
  rrc_reestablishment_cause_nb,
  rrc_release_cause,
  rrc_mmec,
  rrc_m_tmsi,
  rrc_rsrp,
  rrc_transaction,
  sib1_mcc_length,
  sib1_mnc_length,
  sib1_plmn_digits,
  sib1_tracking_area,
  sib1_cell_identity,
  sib1_band,

  nas_emm_type,
  nas_esm_type,
  nas_security_header,
  nas_emm_cause,
  nas_esm_cause,
  nas_detach_sent,
  nas_detach_received,
  nas_switch_off,
  nas_new_identity,
  nas_bearer,
  nas_transaction,
  nas_apn,
  nas_pdn_ipv4,
  nas_pdn_ipv6,
  sms_cp_type,
  sms_cp_cause,
  sms_rp_type,
  sms_rp_cause,
  sms_transaction_side,
  sms_transaction,

  ip_source,
  ip_destination,
  ipv6_source,
  ipv6_destination,
  tcp_stream,
  tcp_syn,
  tcp_ack,
  tcp_reset,
  tcp_length,
  tcp_retransmission,
  tls_handshake,
  tls_server_name,
  tls_change_cipher,
  tls_alert_level,
  tls_alert,

  count
};

struct tshark_field {
  field meaning;
  const char* name;  // tshark's; several rows may have one meaning
};

// All rows, in the order in which they are asked for. A row that the installed tshark does not
// know is left out of the question, and the report says so.
std::span<const tshark_field> tshark_fields();

}  // namespace veltra::report
