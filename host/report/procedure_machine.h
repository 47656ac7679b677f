// procedure_machine.h - what the state machines of procedures have in common.
//
// Each machine follows one procedure. All see all messages in the capture's order and act on
// those that they know: a trace may begin or end anywhere, lack messages and interleave
// procedures, so that no machine relies on another or expects an order that the standard asks of
// the sender.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/report/message.h"
#include "host/report/procedure.h"

namespace veltra::report {

// Takes what the machines found, in the order in which the procedures ended.
using procedure_log = std::vector<procedure>;

class procedure_machine {
 public:
  virtual ~procedure_machine() = default;

  virtual void take(const message& message, procedure_log& log) = 0;

  // The trace is over, or the modem started again: what runs is unfinished.
  virtual void finish(procedure_log& log) = 0;
};

// A procedure under way, from its first message on.
class running_procedure {
 public:
  explicit operator bool() const { return run_.has_value(); }

  void begin(procedure_kind kind, const message& first) {
    run_.emplace();
    run_->kind = kind;
    run_->begin = run_->end = first.time;
    run_->frames = {first.frame};
  }

  // One more message of it.
  void add(const message& next) {
    run_->frames.push_back(next.frame);
    run_->end = next.time;
  }

  // The message that began it, once more.
  void repeat(const message& again) {
    run_->frames.push_back(again.frame);
    ++run_->retransmissions;
  }

  // Counts the losses that a message reports; safe without a procedure.
  void watch(const message& any) {
    if (run_) run_->traces_lost += any.traces_lost;
  }

  void set_kind(procedure_kind kind) { run_->kind = kind; }
  std::uint64_t begun() const { return run_->begin; }

  void close(procedure_log& log, procedure_result result, std::string outcome,
             std::optional<cause> why = std::nullopt) {
    run_->result = result;
    run_->outcome = std::move(outcome);
    run_->cause = std::move(why);
    log.push_back(std::move(*run_));
    run_.reset();
  }

  // Closes it as one whose answer did not come.
  void close_unanswered(procedure_log& log, std::optional<cause> why = std::nullopt);

  void close_unfinished(procedure_log& log) {
    if (run_) close(log, procedure_result::unfinished, "not finished in the trace");
  }

  void forget() { run_.reset(); }

 private:
  std::optional<procedure> run_;
};

// The cause in an RRCConnectionReject.
cause rrc_reject_in(const message& reject);

using procedure_machines = std::vector<std::unique_ptr<procedure_machine>>;

// One machine for each procedure of the radio connection (TS 36.331).
void add_rrc_machines(procedure_machines& machines);
// Those of mobility management (TS 24.301, 5).
void add_emm_machines(procedure_machines& machines);
// Procedures of one command and its answer, whose machine is a row of a table.
void add_answered_machines(procedure_machines& machines);
// Short messages over NAS (TS 24.011).
void add_sms_machines(procedure_machines& machines);

// Everything that the machines recognise in `messages`, by first frame. match_nas_copies() comes
// before.
procedure_log find_procedures(const std::vector<message>& messages);

}  // namespace veltra::report
