#include "host/report/procedure.h"

#include <array>
#include <cstddef>

namespace veltra::report {

namespace {

struct kind_names {
  procedure_kind kind;
  std::string_view id;
  std::string_view title;
};

constexpr std::array<kind_names, static_cast<std::size_t>(procedure_kind::count)> kinds = {{
    {procedure_kind::rrc_setup, "rrc_setup", "RRC connection setup"},
    {procedure_kind::rrc_back_off, "rrc_back_off", "back-off (waitTime)"},
    {procedure_kind::rrc_resume, "rrc_resume", "RRC connection resume"},
    {procedure_kind::rrc_reestablishment, "rrc_reestablishment", "RRC connection re-establishment"},
    {procedure_kind::rrc_reconfiguration, "rrc_reconfiguration", "RRC reconfiguration"},
    {procedure_kind::handover, "handover", "handover"},
    {procedure_kind::as_security, "as_security", "AS security mode"},
    {procedure_kind::attach, "attach", "attach"},
    {procedure_kind::attach_back_off, "attach_back_off",
     "attach to next attach (T3410 15 s + T3411 10 s)"},
    {procedure_kind::tracking_area_update, "tracking_area_update", "tracking area update"},
    {procedure_kind::service_request, "service_request", "service request"},
    {procedure_kind::paging, "paging", "paging to connection"},
    {procedure_kind::detach_by_modem, "detach_by_modem", "detach (by the modem)"},
    {procedure_kind::detach_by_network, "detach_by_network", "detach (by the network)"},
    {procedure_kind::identification, "identification", "identification"},
    {procedure_kind::authentication, "authentication", "authentication"},
    {procedure_kind::nas_security, "nas_security", "NAS security mode"},
    {procedure_kind::esm_information, "esm_information", "ESM information"},
    {procedure_kind::pdn_connectivity, "pdn_connectivity", "PDN connectivity"},
    {procedure_kind::pdn_disconnect, "pdn_disconnect", "PDN disconnect"},
    {procedure_kind::default_bearer, "default_bearer", "default bearer"},
    {procedure_kind::dedicated_bearer, "dedicated_bearer", "dedicated bearer"},
    {procedure_kind::bearer_modification, "bearer_modification", "bearer modification"},
    {procedure_kind::bearer_deactivation, "bearer_deactivation", "bearer deactivation"},
    {procedure_kind::sms_sent, "sms_sent", "SMS sent"},
    {procedure_kind::sms_received, "sms_received", "SMS received"},
}};

constexpr bool rows_are_in_order() {
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (static_cast<std::size_t>(kinds[i].kind) != i) return false;
  }
  return true;
}
static_assert(rows_are_in_order());

}  // namespace

std::string_view procedure_id(procedure_kind kind) {
  return kinds[static_cast<std::size_t>(kind)].id;
}

std::string_view procedure_title(procedure_kind kind) {
  return kinds[static_cast<std::size_t>(kind)].title;
}

std::string_view result_id(procedure_result result) {
  switch (result) {
    case procedure_result::succeeded:
      return "succeeded";
    case procedure_result::failed:
      return "failed";
    case procedure_result::unanswered:
      return "unanswered";
    case procedure_result::waited:
      return "waited";
    case procedure_result::unfinished:
      break;
  }
  return "unfinished";
}

}  // namespace veltra::report
