// The radio connection's procedures (TS 36.331, clause 5.3).
#include <deque>
#include <string>
#include <vector>

#include "host/report/procedure_machine.h"

namespace veltra::report {

namespace {

// RRC connection establishment (5.3.3.2 to 5.3.3.8) and, where a suspended connection is taken
// up again, resume, to which the network may answer with a setup (5.3.3.4a).
//   request -> [setup or resume] -> complete | reject
class setup_machine final : public procedure_machine {
 public:
  void take(const message& message, procedure_log& log) override {
    run_.watch(message);
    switch (message.rrc) {
      case rrc_message::connection_request:
      case rrc_message::resume_request:
        // T300 ran out, or the modem chose another cell (5.3.3.5, 5.3.3.6).
        if (run_) run_.close_unanswered(log);
        is_resume_ = message.is(rrc_message::resume_request);
        run_.begin(is_resume_ ? procedure_kind::rrc_resume : procedure_kind::rrc_setup, message);
        return;
      case rrc_message::connection_setup:
      case rrc_message::resume:
        if (run_) run_.add(message);
        return;
      case rrc_message::connection_setup_complete:
        return complete(message, log,
                        is_resume_ ? "established (setup instead of resume)" : "established");
      case rrc_message::resume_complete:
        return complete(message, log, "resumed");
      case rrc_message::connection_reject:
        if (!run_) return;
        run_.add(message);
        run_.close(log, procedure_result::failed, "rejected", rrc_reject_in(message));
        return;
      default:
        return;
    }
  }

  void finish(procedure_log& log) override { run_.close_unfinished(log); }

 private:
  void complete(const message& message, procedure_log& log, const char* outcome) {
    if (!run_) return;
    run_.add(message);
    run_.close(log, procedure_result::succeeded, outcome);
  }

  running_procedure run_;
  bool is_resume_ = false;
};

// The pause that a reject makes the modem keep (T302, 5.3.3.8), up to its next request.
class back_off_machine final : public procedure_machine {
 public:
  void take(const message& message, procedure_log& log) override {
    run_.watch(message);
    if (message.is(rrc_message::connection_reject)) {
      run_.begin(procedure_kind::rrc_back_off, message);
    } else if (run_ && (message.is(rrc_message::connection_request) ||
                        message.is(rrc_message::resume_request))) {
      run_.add(message);
      run_.close(log, procedure_result::waited, "waited");
    }
  }

  void finish(procedure_log& /*log*/) override { run_.forget(); }

 private:
  running_procedure run_;
};

// RRC connection re-establishment (5.3.7).
//   request -> [re-establishment] -> complete | reject
class reestablishment_machine final : public procedure_machine {
 public:
  void take(const message& message, procedure_log& log) override {
    run_.watch(message);
    if (message.is(rrc_message::reestablishment_request)) {
      if (run_) run_.close_unanswered(log, why_);
      run_.begin(procedure_kind::rrc_reestablishment, message);
      why_ = cause_in(message);
      return;
    }
    if (!run_) return;
    switch (message.rrc) {
      case rrc_message::reestablishment:
        return run_.add(message);
      case rrc_message::reestablishment_complete:
        run_.add(message);
        return run_.close(log, procedure_result::succeeded, "re-established", why_);
      case rrc_message::reestablishment_reject:
        run_.add(message);
        return run_.close(log, procedure_result::failed, "rejected", why_);
      case rrc_message::connection_request:
        // T301 or T311 ran out; the modem begins from idle (5.3.7.6, 5.3.7.7).
        return run_.close_unanswered(log, why_);
      default:
        return;
    }
  }

  void finish(procedure_log& log) override { run_.close_unfinished(log); }

  static std::optional<cause> cause_in(const message& request) {
    if (const auto value = request.fields.number(field::rrc_reestablishment_cause)) {
      return rrc_reestablishment_cause(*value, false);
    }
    if (const auto value = request.fields.number(field::rrc_reestablishment_cause_nb)) {
      return rrc_reestablishment_cause(*value, true);
    }
    return std::nullopt;
  }

 private:
  running_procedure run_;
  std::optional<cause> why_;
};

// RRC connection reconfiguration (5.3.5); with mobilityControlInfo it is a handover (5.3.5.4).
//   reconfiguration -> complete | re-establishment request (5.3.5.5, 5.3.5.6) | release
class reconfiguration_machine final : public procedure_machine {
 public:
  void take(const message& message, procedure_log& log) override {
    run_.watch(message);
    if (message.is(rrc_message::reconfiguration)) {
      if (run_) run_.close_unanswered(log);
      const bool is_handover = message.fields.has(field::rrc_mobility_control_info);
      run_.begin(is_handover ? procedure_kind::handover : procedure_kind::rrc_reconfiguration,
                 message);
      transaction_ = message.fields.number(field::rrc_transaction);
      return;
    }
    if (!run_) return;
    switch (message.rrc) {
      case rrc_message::reconfiguration_complete:
        // The answer to one that the trace lacks.
        if (message.fields.number(field::rrc_transaction) != transaction_) return;
        run_.add(message);
        return run_.close(log, procedure_result::succeeded, "complete");
      case rrc_message::reestablishment_request:
        run_.add(message);
        return run_.close(log, procedure_result::failed, "failed",
                          reestablishment_machine::cause_in(message));
      case rrc_message::release:
      case rrc_message::connection_request:
        run_.add(message);
        return run_.close_unanswered(log);
      default:
        return;
    }
  }

  void finish(procedure_log& log) override { run_.close_unfinished(log); }

 private:
  running_procedure run_;
  std::optional<std::uint64_t> transaction_;
};

// Paging (5.3.2) of this modem up to the NAS message with which it answers (TS 24.301, 5.6.2.2).
//   paging with the modem's identity -> connection request -> service request
// The trace rarely says what the modem's identity is before it uses it: the connection request
// shows it, and which of the pagings before was for this modem.
class paging_machine final : public procedure_machine {
 public:
  void take(const message& message, procedure_log& log) override {
    run_.watch(message);
    if (run_ && message.time > run_.begun() + max_wait) run_.close_unanswered(log);
    switch (message.rrc) {
      case rrc_message::paging:
        return take_paging(message);
      case rrc_message::connection_request:
        return take_request(message, log);
      case rrc_message::connection_reject:
        if (!run_) return;
        run_.add(message);
        return run_.close(log, procedure_result::failed, "rejected", rrc_reject_in(message));
      case rrc_message::release:
        is_connected_ = false;
        if (run_) run_.close_unanswered(log);
        return;
      default:
        break;
    }
    if (run_ && is_requested_ && answers(message)) {
      run_.add(message);
      run_.close(log, procedure_result::succeeded, "answered");
    }
  }

  void finish(procedure_log& log) override {
    run_.close_unfinished(log);
    recent_.clear();
    own_.clear();
    is_connected_ = false;
  }

 private:
  // A modem answers within a second; the network repeats a paging after some seconds.
  static constexpr std::uint64_t max_wait = 10'000'000'000;
  static constexpr std::size_t max_recent = 32;

  struct recent_paging {
    message frame;
    std::vector<std::string> identities;
  };

  // An S-TMSI as its two parts: MMEC and M-TMSI.
  static std::vector<std::string> identities_in(const message& message) {
    const auto codes = message.fields.texts(field::rrc_mmec);
    const auto identities = message.fields.texts(field::rrc_m_tmsi);
    std::vector<std::string> result;
    for (std::size_t i = 0; i < codes.size() && i < identities.size(); ++i) {
      result.push_back(std::string(codes[i]) + ":" + std::string(identities[i]));
    }
    return result;
  }

  static bool answers(const message& message) {
    return message.is(emm_message::service_request) ||
           message.is(emm_message::extended_service_request) ||
           message.is(emm_message::control_plane_service_request) ||
           message.is(emm_message::tracking_area_update_request);
  }

  void take_paging(const message& paging) {
    std::vector<std::string> identities = identities_in(paging);
    const bool is_own = !own_.empty() && contains(identities, own_);
    if (run_) {
      if (is_own && !is_requested_) run_.repeat(paging);
      return;
    }
    if (is_own && !is_connected_) {
      run_.begin(procedure_kind::paging, paging);
      is_requested_ = false;
      return;
    }
    recent_.push_back({paging, std::move(identities)});
    if (recent_.size() > max_recent) recent_.pop_front();
  }

  void take_request(const message& request, procedure_log& /*log*/) {
    is_connected_ = true;
    const std::vector<std::string> identities = identities_in(request);
    if (!identities.empty()) own_ = identities.front();
    if (run_) {
      if (!is_requested_) run_.add(request);
      is_requested_ = true;
      return;
    }
    if (identities.empty()) return;
    for (auto paging = recent_.rbegin(); paging != recent_.rend(); ++paging) {
      if (paging->frame.time + max_wait < request.time) break;
      if (!contains(paging->identities, own_)) continue;
      run_.begin(procedure_kind::paging, paging->frame);
      run_.add(request);
      is_requested_ = true;
      break;
    }
    recent_.clear();
  }

  static bool contains(const std::vector<std::string>& all, const std::string& one) {
    for (const std::string& each : all) {
      if (each == one) return true;
    }
    return false;
  }

  running_procedure run_;
  std::deque<recent_paging> recent_;
  std::string own_;
  bool is_requested_ = false;
  bool is_connected_ = false;
};

}  // namespace

void add_rrc_machines(procedure_machines& machines) {
  machines.push_back(std::make_unique<setup_machine>());
  machines.push_back(std::make_unique<back_off_machine>());
  machines.push_back(std::make_unique<reestablishment_machine>());
  machines.push_back(std::make_unique<reconfiguration_machine>());
  machines.push_back(std::make_unique<paging_machine>());
}

}  // namespace veltra::report
