#include "host/report/cause.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <system_error>

namespace veltra::report {

namespace {

struct cause_row {
  int number;
  std::string_view words;
  std::string_view advice;
};

constexpr std::string_view protocol_advice =
    "A protocol error: compare the message's bytes with what the clause allows.";
constexpr std::string_view pdn_type_advice =
    "The network gives another PDN type than the modem asked for: compare the type in "
    "AT+CGDCONT with the subscription.";
constexpr std::string_view device_advice =
    "The device is barred: check its IMEI in the operator's equipment register.";
constexpr std::string_view core_advice =
    "A fault in the core network: give the operator the time and the cell.";

constexpr cause_row emm_rows[] = {
    {2, "IMSI unknown in HSS",
     "The subscriber is not provisioned: check the IMSI of the SIM in the operator's HSS."},
    {3, "Illegal UE",
     "The network does not accept this SIM: check the subscription and whether an authentication "
     "failed before."},
    {5, "IMEI not accepted", device_advice},
    {6, "Illegal ME", device_advice},
    {7, "EPS services not allowed",
     "The subscription has no LTE data: check it with the operator. The modem does not try again "
     "before it is restarted."},
    {8, "EPS services and non-EPS services not allowed",
     "The subscription has no service: check it with the operator. The modem does not try again "
     "before it is restarted."},
    {9, "UE identity cannot be derived by the network",
     "The network has lost the modem's context: look whether an attach follows."},
    {10, "Implicitly detached",
     "The network had detached the modem, mostly after missed periodic updates: look whether an "
     "attach follows."},
    {11, "PLMN not allowed",
     "The subscriber may not use this network: check roaming and the SIM's list of forbidden "
     "networks."},
    {12, "Tracking area not allowed",
     "The subscription excludes this tracking area: compare the TAC of the cell with it."},
    {13, "Roaming not allowed in this tracking area",
     "No roaming here: compare the PLMN and the TAC of the cell with the roaming agreement."},
    {14, "EPS services not allowed in this PLMN",
     "No LTE data in this network: check roaming for data; other networks may do."},
    {15, "No suitable cells in tracking area",
     "The subscriber may not use this tracking area; the modem looks for a cell in another one. "
     "Compare the TAC, and whether the subscription includes this radio technology."},
    {16, "MSC temporarily not reachable",
     "Data may work without calls and SMS: ask the operator if those are needed."},
    {17, "Network failure", core_advice},
    {18, "CS domain not available",
     "Data works without calls and SMS: check the subscription if those are needed."},
    {19, "ESM failure", "The reason is the ESM cause in the same message."},
    {20, "MAC failure",
     "The SIM does not recognise the network's token: check that the SIM's keys are those of the "
     "HSS."},
    {21, "Synch failure",
     "The SIM's and the HSS's sequence numbers differ, which the network mends once: look whether "
     "the next authentication succeeds."},
    {22, "Congestion",
     "The network is overloaded: the modem waits for T3346. Look at other times and cells."},
    {23, "UE security capabilities mismatch",
     "The network repeated the modem's capabilities wrongly: compare the attach request with the "
     "security mode command."},
    {24, "Security mode rejected, unspecified",
     "The modem refused the security mode: check algorithms and integrity of the command."},
    {25, "Not authorized for this CSG",
     "A closed cell (CSG) that is not for this subscriber: look for another cell."},
    {26, "Non-EPS authentication unacceptable",
     "The network's token is one of GSM or UMTS: check how the HSS provisions the SIM."},
    {31, "Redirection to 5GCN required", "The network wants the modem in 5G: check its settings."},
    {35, "Requested service option not authorized in this PLMN",
     "The subscription excludes the service here: check it, and roaming."},
    {39, "CS service temporarily not available", "No calls for now; data is not affected."},
    {40, "No EPS bearer context activated",
     "The network has no bearer for the modem: look whether an attach follows."},
    {42, "Severe network failure", core_advice},
    {95, "Semantically incorrect message", protocol_advice},
    {96, "Invalid mandatory information", protocol_advice},
    {97, "Message type non-existent or not implemented", protocol_advice},
    {98, "Message type not compatible with the protocol state", protocol_advice},
    {99, "Information element non-existent or not implemented", protocol_advice},
    {100, "Conditional IE error", protocol_advice},
    {101, "Message not compatible with the protocol state", protocol_advice},
    {111, "Protocol error, unspecified", protocol_advice},
};

constexpr cause_row esm_rows[] = {
    {8, "Operator determined barring", "The operator bars this service: check the subscription."},
    {26, "Insufficient resources",
     "The network has no room for the bearer: look at other times and cells."},
    {27, "Missing or unknown APN",
     "Compare the access point name that the modem asked for (AT+CGDCONT?) with the subscription."},
    {28, "Unknown PDN type", pdn_type_advice},
    {29, "User authentication failed",
     "Check user name and password of the access point (AT+CGAUTH)."},
    {30, "Request rejected by Serving GW or PDN GW",
     "The gateway refused: check the access point and its address pool with the operator."},
    {31, "Request rejected, unspecified", core_advice},
    {32, "Service option not supported", "Check the PDN type and the access point."},
    {33, "Requested service option not subscribed",
     "The subscription lacks this access point: compare AT+CGDCONT? with it."},
    {34, "Service option temporarily out of order", core_advice},
    {35, "PTI already in use", protocol_advice},
    {36, "Regular deactivation", ""},
    {37, "EPS QoS not accepted", "Compare the requested quality of service with the subscription."},
    {38, "Network failure", core_advice},
    {39, "Reactivation requested", "The network asks for the bearer again: look whether it comes."},
    {41, "Semantic error in the TFT operation", protocol_advice},
    {42, "Syntactical error in the TFT operation", protocol_advice},
    {43, "Invalid EPS bearer identity", protocol_advice},
    {44, "Semantic errors in packet filter(s)", protocol_advice},
    {45, "Syntactical errors in packet filter(s)", protocol_advice},
    {47, "PTI mismatch", protocol_advice},
    {49, "Last PDN disconnection not allowed", "The last connection needs a detach."},
    {50, "PDN type IPv4 only allowed", pdn_type_advice},
    {51, "PDN type IPv6 only allowed", pdn_type_advice},
    {52, "Single address bearers only allowed", pdn_type_advice},
    {53, "ESM information not received",
     "The modem's ESM information response did not arrive: look at the radio before it."},
    {54, "PDN connection does not exist", "Modem and network disagree on open connections."},
    {55, "Multiple PDN connections for a given APN not allowed",
     "The access point is in use already: look at the earlier connection."},
    {56, "Collision with network initiated request", ""},
    {57, "PDN type IPv4v6 only allowed", pdn_type_advice},
    {58, "PDN type non IP only allowed", pdn_type_advice},
    {59, "Unsupported QCI value", "Compare the bearer's QCI with what the modem supports."},
    {60, "Bearer handling not supported", ""},
    {61, "PDN type Ethernet only allowed", pdn_type_advice},
    {65, "Maximum number of EPS bearers reached", "Close a connection first."},
    {66, "Requested APN not supported in current RAT and PLMN combination",
     "The access point does not work here: check roaming and the radio technology."},
    {81, "Invalid PTI value", protocol_advice},
    {95, "Semantically incorrect message", protocol_advice},
    {96, "Invalid mandatory information", protocol_advice},
    {97, "Message type non-existent or not implemented", protocol_advice},
    {98, "Message type not compatible with the protocol state", protocol_advice},
    {99, "Information element non-existent or not implemented", protocol_advice},
    {100, "Conditional IE error", protocol_advice},
    {101, "Message not compatible with the protocol state", protocol_advice},
    {111, "Protocol error, unspecified", protocol_advice},
    {112, "APN restriction value incompatible with active EPS bearer context",
     "The access point cannot be used beside the one that is open."},
    {113, "Multiple accesses to a PDN connection not allowed", ""},
};

constexpr std::string_view number_advice = "Check the recipient's number.";
constexpr std::string_view sms_core_advice =
    "A fault of the network or of its short message centre: try again, then ask the operator.";

constexpr cause_row rp_rows[] = {
    {1, "Unassigned (unallocated) number", number_advice},
    {8, "Operator determined barring", "Short messages are barred: check the subscription."},
    {10, "Call barred", "Short messages are barred: check the subscription."},
    {21, "Short message transfer rejected", "Check the number of the message centre (AT+CSCA?)."},
    {22, "Memory capacity exceeded", "The modem's or the SIM's storage is full (AT+CPMS?)."},
    {27, "Destination out of order", "The recipient cannot be reached."},
    {28, "Unidentified subscriber", number_advice},
    {29, "Facility rejected", "Check the subscription for short messages."},
    {30, "Unknown subscriber", number_advice},
    {38, "Network out of order", sms_core_advice},
    {41, "Temporary failure", sms_core_advice},
    {42, "Congestion", sms_core_advice},
    {47, "Resources unavailable, unspecified", sms_core_advice},
    {50, "Requested facility not subscribed", "Check the subscription for short messages."},
    {69, "Requested facility not implemented", ""},
    {81, "Invalid short message transfer reference value", protocol_advice},
    {95, "Semantically incorrect message", protocol_advice},
    {96, "Invalid mandatory information", protocol_advice},
    {97, "Message type non-existent or not implemented", protocol_advice},
    {98, "Message not compatible with short message protocol state", protocol_advice},
    {99, "Information element non-existent or not implemented", protocol_advice},
    {111, "Protocol error, unspecified", protocol_advice},
    {127, "Interworking, unspecified", sms_core_advice},
};

constexpr cause_row cp_rows[] = {
    {17, "Network failure", sms_core_advice},
    {22, "Congestion", sms_core_advice},
    {81, "Invalid Transaction Identifier value", protocol_advice},
    {95, "Semantically incorrect message", protocol_advice},
    {96, "Invalid mandatory information", protocol_advice},
    {97, "Message type non-existent or not implemented", protocol_advice},
    {98, "Message not compatible with the short message protocol state", protocol_advice},
    {99, "Information element non-existent or not implemented", protocol_advice},
    {111, "Protocol error, unspecified", protocol_advice},
};

constexpr std::string_view sim_advice = "Check that the SIM is in its holder and AT+CPIN?.";

constexpr cause_row cme_rows[] = {
    {3, "operation not allowed", "The modem's state forbids it: look at the commands before."},
    {4, "operation not supported", "The modem lacks the command or this value."},
    {10, "SIM not inserted", sim_advice},
    {11, "SIM PIN required", sim_advice},
    {12, "SIM PUK required", sim_advice},
    {13, "SIM failure", sim_advice},
    {14, "SIM busy", "Wait until the SIM is read, then try again."},
    {15, "SIM wrong", sim_advice},
    {16, "incorrect password", "Check the PIN before the next try."},
    {20, "memory full", "Delete what is stored (AT+CPMS?)."},
    {21, "invalid index", "Compare the index with the command's range."},
    {22, "not found", ""},
    {30, "no network service", "The modem was not registered: look at the signalling before."},
    {31, "network timeout", "The network did not answer: look at the signalling before."},
    {32, "network not allowed - emergency calls only",
     "The network refused the modem: look at the rejects before."},
    {50, "incorrect parameters", "Compare the parameters with the modem's manual."},
    {100, "unknown", ""},
    {103, "illegal MS", "The network refused the modem: look at the rejects before."},
    {106, "illegal ME", device_advice},
    {107, "GPRS services not allowed", "The subscription has no data: check it."},
    {111, "PLMN not allowed", "Check roaming and the SIM's list of forbidden networks."},
    {112, "location area not allowed", "Compare the TAC of the cell with the subscription."},
    {113, "roaming not allowed in this location area", "Check roaming with the operator."},
    {132, "service option not supported", "Check the PDN type and the access point."},
    {133, "requested service option not subscribed", "Check the access point (AT+CGDCONT?)."},
    {134, "service option temporarily out of order", core_advice},
    {148, "unspecified GPRS error", "The signalling before it has the network's own cause."},
    {149, "PDP authentication failure",
     "Check user name and password of the access point (AT+CGAUTH)."},
};

constexpr cause_row cms_rows[] = {
    {300, "ME failure", ""},
    {301, "SMS service of ME reserved", ""},
    {302, "operation not allowed", "The modem's state forbids it: look at the commands before."},
    {303, "operation not supported", "The modem lacks the command or this value."},
    {304, "invalid PDU mode parameter", "Check the PDU and its length (AT+CMGS)."},
    {305, "invalid text mode parameter", "Check the settings of text mode (AT+CSMP?)."},
    {310, "SIM not inserted", sim_advice},
    {311, "SIM PIN required", sim_advice},
    {313, "SIM failure", sim_advice},
    {321, "invalid memory index", "Compare the index with AT+CPMS?."},
    {322, "memory full", "Delete messages (AT+CMGD)."},
    {330, "SMSC address unknown", "Set the number of the message centre (AT+CSCA)."},
    {331, "no network service", "The modem was not registered: look at the signalling before."},
    {332, "network timeout", "The network did not answer: look at the signalling before."},
    {500, "unknown error", ""},
};

cause look_up(std::span<const cause_row> rows, std::string_view protocol, int number,
              std::string_view clause) {
  cause result{.protocol = std::string(protocol),
               .number = number,
               .words = "a cause that the standard does not list",
               .clause = std::string(clause),
               .advice = {}};
  const auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const cause_row& each) { return each.number == number; });
  if (row != rows.end()) {
    result.words = row->words;
    result.advice = row->advice;
  }
  return result;
}

}  // namespace

std::string cause::text() const {
  if (!number || protocol == "timer") return words;
  return fmt::format("{} #{} {}", protocol, *number, words);
}

cause emm_cause(int number) {
  return look_up(emm_rows, "EMM", number, "TS 24.301 9.9.3.9");
}

cause esm_cause(int number) {
  return look_up(esm_rows, "ESM", number, "TS 24.301 9.9.4.4");
}

cause rp_cause(int number) {
  return look_up(rp_rows, "RP", number, "TS 24.011 8.2.5.4");
}

cause cp_cause(int number) {
  return look_up(cp_rows, "CP", number, "TS 24.011 8.1.4.2");
}

std::optional<cause> at_error_cause(std::string_view result) {
  constexpr std::string_view cme = "+CME ERROR: ";
  constexpr std::string_view cms = "+CMS ERROR: ";
  const bool is_cme = result.starts_with(cme);
  if (!is_cme && !result.starts_with(cms)) return std::nullopt;
  result.remove_prefix(cme.size());
  int number = 0;
  const auto [end, error] = std::from_chars(result.data(), result.data() + result.size(), number);
  if (error != std::errc() || end != result.data() + result.size()) return std::nullopt;
  if (is_cme) return look_up(cme_rows, "CME", number, "TS 27.007 9.2");
  // Up to 127 the network's own causes are passed on.
  if (number <= 127) return look_up(rp_rows, "CMS", number, "TS 24.011 8.2.5.4");
  return look_up(cms_rows, "CMS", number, "TS 27.005 3.2.5");
}

cause rrc_cause(std::string_view words, std::string_view advice) {
  return {.protocol = "RRC",
          .number = std::nullopt,
          .words = std::string(words),
          .clause = "TS 36.331",
          .advice = std::string(advice)};
}

cause rrc_reject(std::optional<std::uint64_t> wait_seconds,
                 std::optional<std::uint64_t> extended_wait_seconds) {
  std::string words = "RRCConnectionReject";
  if (extended_wait_seconds) {
    words += fmt::format(", extendedWaitTime {} s", *extended_wait_seconds);
  } else if (wait_seconds) {
    words += fmt::format(", waitTime {} s", *wait_seconds);
  }
  return rrc_cause(words,
                   "The cell is overloaded and made the modem wait: look at other times and "
                   "cells, and at how often it happens here.");
}

cause rrc_reestablishment_cause(std::uint64_t value, bool narrow_band) {
  // The choices differ: a narrow-band cell has no handover.
  static constexpr std::array<std::string_view, 3> wide = {"reconfigurationFailure",
                                                           "handoverFailure", "otherFailure"};
  static constexpr std::array<std::string_view, 2> narrow = {"reconfigurationFailure",
                                                             "otherFailure"};
  const std::span<const std::string_view> names = narrow_band
                                                      ? std::span<const std::string_view>(narrow)
                                                      : std::span<const std::string_view>(wide);
  const std::string_view name = value < names.size() ? names[value] : "spare";
  return rrc_cause(fmt::format("reestablishmentCause {}", name),
                   name == "otherFailure"
                       ? "The radio link was lost: look at the measurement reports before it."
                       : "The modem could not do what the cell configured: look at the last "
                         "RRCConnectionReconfiguration before it.");
}

cause timer_expired(int timer, int seconds) {
  return {.protocol = "timer",
          .number = timer,
          .words = fmt::format("T{} ({} s) expired, no answer", timer, seconds),
          .clause = "TS 24.301 10.2",
          .advice =
              "The network did not answer: look at the signal, at the cell and, if traces "
              "were lost, whether the answer is among them."};
}

}  // namespace veltra::report
