#include "host/report/verdict.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "host/report/analysis.h"

namespace veltra::report {

namespace {

std::string ordinal(std::size_t number) {
  static constexpr std::array<std::string_view, 10> words = {"first", "second", "third",   "fourth",
                                                             "fifth", "sixth",  "seventh", "eighth",
                                                             "ninth", "tenth"};
  if (number >= 1 && number <= words.size()) return std::string(words[number - 1]);
  return fmt::format("{}th", number);
}

// EMM causes after which the modem is deregistered when an update or a service request is
// refused with them (TS 24.301, 5.5.3.2.5 and 5.6.1.5).
bool deregisters(const procedure& refused) {
  if (!refused.cause || !refused.cause->number) return false;
  static constexpr std::array<int, 13> numbers = {3, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 35, 40};
  return std::find(numbers.begin(), numbers.end(), *refused.cause->number) != numbers.end();
}

// The bearer's refusal that an attach reject carries.
const procedure* inner_reject(const std::vector<procedure>& all, const procedure& attach) {
  for (const procedure& each : all) {
    if (each.kind == procedure_kind::pdn_connectivity && &each != &attach &&
        each.last_frame() == attach.last_frame()) {
      return &each;
    }
  }
  return nullptr;
}

bool is_inner_reject(const std::vector<procedure>& all, const procedure& bearer) {
  if (bearer.kind != procedure_kind::pdn_connectivity) return false;
  return std::any_of(all.begin(), all.end(), [&](const procedure& each) {
    return each.kind == procedure_kind::attach && each.last_frame() == bearer.last_frame();
  });
}

// Also a link that was lost and found again, and a network that sends the modem away for a cause.
bool is_trouble(const procedure& ended) {
  if (ended.result == procedure_result::succeeded) {
    return ended.kind == procedure_kind::rrc_reestablishment ||
           (ended.kind == procedure_kind::detach_by_network && ended.cause);
  }
  return ended.result == procedure_result::failed || ended.result == procedure_result::unanswered;
}

std::string what_failed(const procedure& failed) {
  const std::string_view title = procedure_title(failed.kind);
  if (failed.kind == procedure_kind::detach_by_network) return "detached by the network";
  if (failed.result == procedure_result::succeeded) {
    return fmt::format("radio link lost and re-established in {}",
                       duration_text(failed.milliseconds()));
  }
  if (failed.result == procedure_result::failed) {
    return fmt::format("{} {}", title, failed.outcome);
  }
  if (failed.traces_lost == 0) return fmt::format("{} unanswered", title);
  return fmt::format("{} unanswered ({} traces lost meanwhile)", title, failed.traces_lost);
}

failure describe(const std::vector<procedure>& all, const procedure& failed) {
  failure result;
  result.frame = failed.last_frame();
  result.time = failed.end;
  result.what = what_failed(failed);
  result.cause = failed.cause;
  if (failed.cause) result.advice = failed.cause->advice;
  if (failed.kind == procedure_kind::attach) {
    if (const procedure* const bearer = inner_reject(all, failed); bearer && bearer->cause) {
      result.because = bearer->cause->text();
      result.advice = bearer->cause->advice;
    }
  }
  return result;
}

// Follows what the modem's registration becomes.
class registration_history {
 public:
  explicit registration_history(const analysis& all) : all_(all) {
    std::vector<const procedure*> order;
    for (const procedure& each : all.procedures) order.push_back(&each);
    std::stable_sort(order.begin(), order.end(), [](const procedure* a, const procedure* b) {
      return a->last_frame() < b->last_frame();
    });
    for (const procedure* each : order) take(*each);
  }

  void conclude(verdict& into) const {
    into.state = state_;
    into.headline = headline();
    if (decided_ != nullptr) into.frame = decided_->last_frame();
    for (const procedure& each : all_.procedures) {
      if (each.kind == procedure_kind::attach && each.result == procedure_result::succeeded) {
        into.attach_ms = each.milliseconds();
      }
    }
  }

 private:
  void take(const procedure& each) {
    const bool succeeded = each.result == procedure_result::succeeded;
    switch (each.kind) {
      case procedure_kind::attach:
        if (each.result == procedure_result::unfinished) return;
        ++attaches_;
        if (!succeeded) ++failed_attaches_;
        return decide(each, succeeded ? registration::registered : registration::not_registered);
      case procedure_kind::tracking_area_update:
      case procedure_kind::service_request:
        if (succeeded) {
          ++services_;
          if (state_ == registration::registered) return;
          return decide(each, registration::in_service);
        }
        if (each.result == procedure_result::failed && deregisters(each)) {
          return decide(each, registration::not_registered);
        }
        return;
      case procedure_kind::detach_by_modem:
      case procedure_kind::detach_by_network:
        if (each.result == procedure_result::unfinished) return;
        return decide(each, registration::detached);
      default:
        return;
    }
  }

  void decide(const procedure& by, registration state) {
    state_ = state;
    decided_ = &by;
  }

  std::size_t rejected_before(procedure_kind kind) const {
    return static_cast<std::size_t>(
        std::count_if(all_.procedures.begin(), all_.procedures.end(), [&](const procedure& each) {
          return each.kind == kind && each.result == procedure_result::failed &&
                 each.last_frame() < decided_->last_frame();
        }));
  }

  std::string headline() const {
    switch (state_) {
      case registration::registered: {
        const std::string duration = duration_text(decided_->milliseconds());
        if (attaches_ == 1) return fmt::format("Registered: attach accepted in {}", duration);
        return fmt::format("Registered: the {} attach was accepted, in {}", ordinal(attaches_),
                           duration);
      }
      case registration::in_service:
        return in_service();
      case registration::detached:
        return detached();
      case registration::not_registered:
        return not_registered();
      case registration::unknown:
        break;
    }
    return unknown();
  }

  std::string detached() const {
    if (decided_->kind == procedure_kind::detach_by_modem) return "Detached at the modem's request";
    if (!decided_->cause) return "Detached by the network";
    return "Detached by the network: " + decided_->cause->text();
  }

  std::string in_service() const {
    std::string text = fmt::format("In service: {} accepted in {}", procedure_title(decided_->kind),
                                   duration_text(decided_->milliseconds()));
    const std::size_t tries = rejected_before(procedure_kind::rrc_setup) + 1;
    if (tries > 1) text += fmt::format(", on the {} connection attempt", ordinal(tries));
    if (rejected_before(procedure_kind::rrc_reestablishment) > 0) {
      text += ", over a new connection after the radio link was lost";
    }
    return text;
  }

  std::string not_registered() const {
    if (decided_->kind == procedure_kind::attach && failed_attaches_ > 1 &&
        decided_->result == procedure_result::unanswered) {
      return fmt::format("Not registered: {} attaches failed, the last one without an answer",
                         failed_attaches_);
    }
    const std::string why = describe(all_.procedures, *decided_).text();
    if (decided_->kind == procedure_kind::attach && failed_attaches_ > 1) {
      return fmt::format("Not registered: {} attaches failed, the last one with {}",
                         failed_attaches_, decided_->cause ? decided_->cause->text() : why);
    }
    return "Not registered: " + why;
  }

  // No procedure says it; the modem may.
  std::string unknown() const {
    if (!all_.dissection.lack.empty()) {
      return "The signalling is not dissected, so this report shows layers only";
    }
    switch (last_registration_state(all_.messages)) {
      case 1:
      case 5:
        return "Registered, as the modem reports; the trace has no attach";
      case 0:
      case 2:
      case 3:
      case 4:
        return "Not registered, as the modem reports; the trace has no attach";
      default:
        return "The trace has no attach, tracking area update, service request or detach";
    }
  }

  const analysis& all_;
  registration state_ = registration::unknown;
  const procedure* decided_ = nullptr;
  std::size_t attaches_ = 0;
  std::size_t failed_attaches_ = 0;
  std::size_t services_ = 0;
};

void add_failures(const analysis& all, verdict& into) {
  for (const procedure& each : all.procedures) {
    if (is_trouble(each) && !is_inner_reject(all.procedures, each)) {
      into.failures.push_back(describe(all.procedures, each));
    }
  }
  for (const at_command& each : all.at_commands) {
    if (!each.is_error) continue;
    failure failed;
    failed.frame = each.last_frame;
    failed.time = each.end;
    failed.cause = at_error_cause(each.result);
    failed.what = failed.cause ? fmt::format("AT command {} refused", each.command)
                               : fmt::format("AT command {}: {}", each.command, each.result);
    if (failed.cause) failed.advice = failed.cause->advice;
    into.failures.push_back(std::move(failed));
  }
  for (const tls_session& each : all.ip.sessions) {
    if (each.failure.empty()) continue;
    failure failed;
    failed.frame = each.last_frame;
    failed.time = each.end;
    failed.what = fmt::format("TLS handshake{}{}: {}", each.server_name.empty() ? "" : " with ",
                              each.server_name, each.failure);
    into.failures.push_back(std::move(failed));
  }
  std::stable_sort(into.failures.begin(), into.failures.end(),
                   [](const failure& a, const failure& b) { return a.frame < b.frame; });
}

// The last report of the serving cell's power before a link is lost (TS 36.133, 9.1.4).
void add_signal(const analysis& all, verdict& into) {
  for (failure& each : into.failures) {
    if (each.what.find("re-establish") == std::string::npos) continue;
    const message* last = nullptr;
    for (const message& seen : all.messages) {
      if (seen.frame >= each.frame) break;
      if (seen.is(rrc_message::measurement_report) && seen.fields.has(field::rrc_rsrp)) {
        last = &seen;
      }
    }
    if (last == nullptr) continue;
    const auto step = last->fields.number(field::rrc_rsrp);
    if (!step || *step > 97) continue;
    each.advice += fmt::format(" The last one (frame {}) reports {} dBm RSRP.", last->frame,
                               static_cast<int>(*step) - 141);
  }
}

void add_remarks(const analysis& all, verdict& into) {
  if (!all.dissection.lack.empty()) into.remarks.push_back(all.dissection.lack);
  if (!all.dissection.failure.empty()) {
    into.remarks.push_back(
        fmt::format("tshark ended before the last frame: {}; what came later is missing.",
                    all.dissection.failure));
  }
  if (all.is_cut_off) into.remarks.emplace_back("The capture is cut off inside a frame.");
  if (const std::uint64_t lost = all.traces_lost(); lost != 0) {
    into.remarks.push_back(
        fmt::format("{} trace{} lost: what they would have shown is not in this report.", lost,
                    lost == 1 ? " was" : "s were"));
  }
  const auto released =
      std::find_if(all.messages.rbegin(), all.messages.rend(), [](const message& each) {
        return each.is(rrc_message::release) || each.is(rrc_message::connection_setup_complete);
      });
  if (released != all.messages.rend() && released->is(rrc_message::release) && into.is_served()) {
    into.remarks.push_back(
        fmt::format("The network released the last connection (frame {}): the modem is idle.",
                    released->frame));
  }
}

// The cell whose broadcast was read last before the decision.
void add_cell(const analysis& all, verdict& into) {
  for (std::size_t i = 0; i < all.cells.size(); ++i) {
    if (into.frame && all.cells[i].frame > *into.frame) break;
    into.cell = i;
  }
}

}  // namespace

std::string_view registration_id(registration state) {
  switch (state) {
    case registration::registered:
      return "registered";
    case registration::in_service:
      return "in_service";
    case registration::not_registered:
      return "not_registered";
    case registration::detached:
      return "detached";
    case registration::unknown:
      break;
  }
  return "unknown";
}

std::string failure::text() const {
  std::string result = what;
  if (cause) result += ": " + cause->text();
  if (!because.empty()) result += ", because of " + because;
  return result;
}

std::string duration_text(double milliseconds) {
  if (milliseconds < 100) return fmt::format("{:.1f} ms", milliseconds);
  if (milliseconds < 1000) return fmt::format("{:.0f} ms", milliseconds);
  const double seconds = milliseconds / 1000;
  if (seconds < 60) return fmt::format("{:.2f} s", seconds);
  const auto whole = static_cast<std::uint64_t>(seconds + 0.5);
  if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

verdict find_verdict(const analysis& all) {
  verdict result;
  registration_history(all).conclude(result);
  add_failures(all, result);
  add_signal(all, result);
  add_cell(all, result);
  add_remarks(all, result);
  return result;
}

}  // namespace veltra::report
