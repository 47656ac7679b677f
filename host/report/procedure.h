// procedure.h - one run of a procedure between the modem and the network.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/cause.h"

namespace veltra::report {

enum class procedure_kind : std::uint8_t {
  rrc_setup,
  rrc_back_off,
  rrc_resume,
  rrc_reestablishment,
  rrc_reconfiguration,
  handover,
  as_security,
  attach,
  attach_back_off,
  tracking_area_update,
  service_request,
  paging,
  detach_by_modem,
  detach_by_network,
  identification,
  authentication,
  nas_security,
  esm_information,
  pdn_connectivity,
  pdn_disconnect,
  default_bearer,
  dedicated_bearer,
  bearer_modification,
  bearer_deactivation,
  sms_sent,
  sms_received,
  count
};

enum class procedure_result : std::uint8_t {
  succeeded,
  failed,      // refused, by the network or by the modem
  unanswered,  // ended without the answer that it waited for
  unfinished,  // the trace ends or is interrupted before it does
  waited,      // a pause that a failure made necessary
};

std::string_view procedure_id(procedure_kind kind);     // stable, for programs: "rrc_setup"
std::string_view procedure_title(procedure_kind kind);  // for people: "RRC connection setup"
std::string_view result_id(procedure_result result);

struct procedure {
  procedure_kind kind = procedure_kind::rrc_setup;
  std::uint64_t begin = 0;  // nanoseconds, as in the capture
  std::uint64_t end = 0;
  procedure_result result = procedure_result::unfinished;
  std::string outcome;  // in words: "accepted", "rejected", "no answer"
  std::optional<report::cause> cause;
  std::uint64_t traces_lost = 0;      // reported while it ran
  std::uint32_t retransmissions = 0;  // of the message that began it
  std::vector<std::uint32_t> frames;  // its messages in order; never empty

  std::uint32_t first_frame() const { return frames.front(); }
  std::uint32_t last_frame() const { return frames.back(); }
  // 0 if the modem's clock went back meanwhile.
  double milliseconds() const { return end > begin ? static_cast<double>(end - begin) / 1e6 : 0; }
  bool counts() const {
    return result != procedure_result::unfinished && result != procedure_result::waited;
  }
};

}  // namespace veltra::report
