// Procedures of one command and its answer. Each row of the table is a state machine:
//   command -> answer, with a command that is sent again counted as a retransmission
// Bearers and transactions run side by side; each has a run of its own.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "host/report/procedure_machine.h"

namespace veltra::report {

namespace {

using message_type = std::variant<std::monostate, rrc_message, emm_message, esm_message>;

bool is(const message& message, message_type type) {
  return std::visit(
      [&](auto which) {
        if constexpr (std::is_same_v<decltype(which), std::monostate>) {
          return false;
        } else {
          return message.is(which);
        }
      },
      type);
}

struct answered_procedure {
  procedure_kind kind;
  message_type command;
  message_type success;
  std::string_view success_outcome;
  message_type failure;                     // refuses the command; its EMM or ESM cause is kept
  message_type revocation;                  // takes the success back
  bool is_repeated;                         // a second command is a retransmission
  std::optional<field> key = std::nullopt;  // separates runs that go on at the same time
};

constexpr std::monostate none{};

// What a command and its answer have in common: the bearer where the network commands (TS 24.301,
// 9.3.2), the transaction where the modem asks or is asked for its request (9.4).
constexpr field bearer = field::nas_bearer;
constexpr field transaction = field::nas_transaction;

constexpr answered_procedure procedures[] = {
    // Initial security activation (TS 36.331, 5.3.4).
    {procedure_kind::as_security, rrc_message::security_mode_command,
     rrc_message::security_mode_complete, "complete", rrc_message::security_mode_failure, none,
     false},
    // Authentication (TS 24.301, 5.4.2). T3460 repeats the request. Whether the response was
    // right shows later: a reject takes it back (5.4.2.5).
    {procedure_kind::authentication, emm_message::authentication_request,
     emm_message::authentication_response, "response sent", emm_message::authentication_failure,
     emm_message::authentication_reject, true},
    // Security mode control (5.4.3), T3460.
    {procedure_kind::nas_security, emm_message::security_mode_command,
     emm_message::security_mode_complete, "complete", emm_message::security_mode_reject, none,
     true},
    // Identification (5.4.4), T3470.
    {procedure_kind::identification, emm_message::identity_request, emm_message::identity_response,
     "answered", none, none, true},
    // ESM information request (6.6.1.2), T3489.
    {procedure_kind::esm_information, esm_message::information_request,
     esm_message::information_response, "answered", none, none, true, transaction},
    // Default EPS bearer context activation (6.4.1), T3485.
    {procedure_kind::default_bearer, esm_message::activate_default_bearer_request,
     esm_message::activate_default_bearer_accept, "accepted",
     esm_message::activate_default_bearer_reject, none, true, bearer},
    // Dedicated EPS bearer context activation (6.4.2), T3485.
    {procedure_kind::dedicated_bearer, esm_message::activate_dedicated_bearer_request,
     esm_message::activate_dedicated_bearer_accept, "accepted",
     esm_message::activate_dedicated_bearer_reject, none, true, bearer},
    // EPS bearer context modification (6.4.3), T3486.
    {procedure_kind::bearer_modification, esm_message::modify_bearer_request,
     esm_message::modify_bearer_accept, "accepted", esm_message::modify_bearer_reject, none, true,
     bearer},
    // EPS bearer context deactivation (6.4.4), T3495.
    {procedure_kind::bearer_deactivation, esm_message::deactivate_bearer_request,
     esm_message::deactivate_bearer_accept, "accepted", none, none, true, bearer},
    // PDN connectivity that the modem asks for beside its first one (6.5.1), T3482. That in an
    // attach is part of it.
    {procedure_kind::pdn_connectivity, esm_message::pdn_connectivity_request,
     esm_message::activate_default_bearer_request, "accepted", esm_message::pdn_connectivity_reject,
     none, true, transaction},
    // PDN disconnect (6.5.2), T3492.
    {procedure_kind::pdn_disconnect, esm_message::pdn_disconnect_request,
     esm_message::deactivate_bearer_request, "accepted", esm_message::pdn_disconnect_reject, none,
     true, transaction},
};

std::optional<cause> cause_in(const message& message) {
  if (const auto number = message.fields.number(field::nas_esm_cause)) {
    return esm_cause(static_cast<int>(*number));
  }
  if (const auto number = message.fields.number(field::nas_emm_cause)) {
    return emm_cause(static_cast<int>(*number));
  }
  return std::nullopt;
}

class answered_machine final : public procedure_machine {
 public:
  explicit answered_machine(const answered_procedure& rules) : rules_(rules) {}

  void take(const message& message, procedure_log& log) override {
    for (auto& [key, run] : runs_) run.watch(message);
    if (is(message, rules_.command)) return take_command(message, log);
    if (is(message, rules_.revocation)) return revoke(message, log);
    if (runs_.empty()) return;
    if (is(message, rules_.success)) {
      answered_ = log.size();
      end(message, log, procedure_result::succeeded, rules_.success_outcome, std::nullopt);
    } else if (is(message, rules_.failure)) {
      end(message, log, procedure_result::failed, is_answer_of_network() ? "rejected" : "failed",
          cause_in(message));
    } else if (message.is(emm_message::attach_accept) && rules_.is_repeated) {
      // The network would not go on without the answer: the trace lacks it.
      for (auto& [key, run] : runs_) {
        run.close(log, procedure_result::unfinished, "answer not in the trace");
      }
      runs_.clear();
    } else if (message.is(rrc_message::release) || message.is(rrc_message::connection_request)) {
      for (auto& [key, run] : runs_) {
        run.add(message);
        run.close_unanswered(log);
      }
      runs_.clear();
    }
  }

  void finish(procedure_log& log) override {
    for (auto& [key, run] : runs_) run.close_unfinished(log);
    runs_.clear();
    answered_.reset();
  }

 private:
  std::uint64_t key_of(const message& message) const {
    return rules_.key ? message.fields.number(*rules_.key).value_or(0) : 0;
  }

  void take_command(const message& command, procedure_log& log) {
    answered_.reset();
    if (command.is(emm_message::attach_request)) return;
    running_procedure& run = runs_[key_of(command)];
    if (run && rules_.is_repeated) return run.repeat(command);
    if (run) run.close_unanswered(log);
    run.begin(rules_.kind, command);
  }

  void end(const message& answer, procedure_log& log, procedure_result result,
           std::string_view outcome, std::optional<cause> why) {
    const auto run = runs_.find(key_of(answer));
    if (run == runs_.end()) return;
    run->second.add(answer);
    run->second.close(log, result, std::string(outcome), std::move(why));
    runs_.erase(run);
  }

  void revoke(const message& message, procedure_log& log) {
    if (!runs_.empty()) {
      return end(message, log, procedure_result::failed, "rejected", cause_in(message));
    }
    if (!answered_) return;
    procedure& answered = log[*answered_];
    answered.frames.push_back(message.frame);
    answered.end = message.time;
    answered.result = procedure_result::failed;
    answered.outcome = "rejected";
    answered_.reset();
  }

  bool is_answer_of_network() const {
    return rules_.kind == procedure_kind::pdn_connectivity ||
           rules_.kind == procedure_kind::pdn_disconnect;
  }

  const answered_procedure& rules_;
  std::map<std::uint64_t, running_procedure> runs_;
  std::optional<std::size_t> answered_;  // the last success in the log, as long as nothing followed
};

}  // namespace

void add_answered_machines(procedure_machines& machines) {
  for (const answered_procedure& each : procedures) {
    machines.push_back(std::make_unique<answered_machine>(each));
  }
}

}  // namespace veltra::report
