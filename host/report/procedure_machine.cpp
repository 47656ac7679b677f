#include "host/report/procedure_machine.h"

#include <fmt/format.h>

#include <algorithm>

namespace veltra::report {

void running_procedure::close_unanswered(procedure_log& log, std::optional<cause> why) {
  const std::uint64_t lost = run_->traces_lost;
  close(log, procedure_result::unanswered,
        lost == 0 ? std::string("no answer")
                  : fmt::format("no answer seen ({} trace{} lost while it was awaited)", lost,
                                lost == 1 ? "" : "s"),
        std::move(why));
}

cause rrc_reject_in(const message& reject) {
  return rrc_reject(reject.fields.number(field::rrc_wait_time),
                    reject.fields.number(field::rrc_extended_wait_time));
}

procedure_log find_procedures(const std::vector<message>& messages) {
  procedure_machines machines;
  add_rrc_machines(machines);
  add_emm_machines(machines);
  add_answered_machines(machines);
  add_sms_machines(machines);

  procedure_log log;
  for (const message& each : messages) {
    for (const auto& machine : machines) {
      if (each.clock_restarted) machine->finish(log);
      machine->take(each, log);
    }
  }
  for (const auto& machine : machines) machine->finish(log);

  std::stable_sort(log.begin(), log.end(), [](const procedure& a, const procedure& b) {
    if (a.first_frame() != b.first_frame()) return a.first_frame() < b.first_frame();
    return a.last_frame() > b.last_frame();
  });
  return log;
}

}  // namespace veltra::report
