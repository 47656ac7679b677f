// Mobility management (TS 24.301, clause 5): what the modem begins and the network grants.
#include <string>

#include "host/report/procedure_machine.h"

namespace veltra::report {

namespace {

// Timers of TS 24.301, table 10.2.1, in seconds.
constexpr int t3410 = 15;  // attach
constexpr int t3417 = 5;   // service request
constexpr int t3421 = 15;  // detach
constexpr int t3430 = 15;  // tracking area update

// In narrow-band IoT they run longer (4.7).
constexpr int narrow_band_extension = 240;

// A release may come a little before the modem's timer runs out.
constexpr std::uint64_t timer_tolerance = 500'000'000;  // nanoseconds

std::optional<cause> emm_cause_in(const message& message) {
  const auto number = message.fields.number(field::nas_emm_cause);
  if (!number) return std::nullopt;
  return emm_cause(static_cast<int>(*number));
}

// What the procedures of this file have in common: a request that waits for an answer of the
// network while the radio connection may be lost under it.
class request_machine : public procedure_machine {
 public:
  void take(const message& message, procedure_log& log) final {
    run_.watch(message);
    if (message.layer == layer::rrc) is_narrow_band_ = message.narrow_band;
    take_nas(message, log);
    if (run_ && !is_granted()) watch_connection(message, log);
  }

 protected:
  request_machine(int timer, int seconds) : timer_(timer), seconds_(seconds) {}

  virtual void take_nas(const message& message, procedure_log& log) = 0;

  // True once the network has said yes, even if the procedure goes on.
  virtual bool is_granted() const { return false; }

  void begin(procedure_kind kind, const message& request) {
    run_.begin(kind, request);
    has_connection_ = false;
  }

  void refuse(const message& message, procedure_log& log) {
    run_.add(message);
    run_.close(log, procedure_result::failed, "rejected", emm_cause_in(message));
  }

  // The modem does something else instead.
  void abandon(procedure_log& log, const char* why) {
    if (run_) run_.close(log, procedure_result::unfinished, why);
  }

  virtual void close_unanswered(procedure_log& log, std::optional<cause> why) {
    run_.close_unanswered(log, std::move(why));
  }

  running_procedure run_;

 private:
  void watch_connection(const message& message, procedure_log& log) {
    switch (message.rrc) {
      case rrc_message::connection_setup_complete:
      case rrc_message::resume_complete:
        has_connection_ = true;
        return;
      case rrc_message::connection_reject:
        // The request never left the modem.
        if (has_connection_) return;
        run_.add(message);
        return run_.close(log, procedure_result::failed, "no RRC connection",
                          rrc_reject_in(message));
      case rrc_message::release:
        run_.add(message);
        return close_unanswered(log, why_released(message));
      case rrc_message::connection_request:
        if (!has_connection_) return;
        run_.add(message);
        return close_unanswered(log, rrc_cause("the RRC connection was lost before an answer came",
                                               "Look at the measurement reports before it."));
      default:
        return;
    }
  }

  cause why_released(const message& release) const {
    const int seconds = seconds_ + (is_narrow_band_ ? narrow_band_extension : 0);
    const std::uint64_t limit = static_cast<std::uint64_t>(seconds) * 1'000'000'000;
    if (release.time >= run_.begun() && release.time - run_.begun() + timer_tolerance >= limit) {
      return timer_expired(timer_, seconds);
    }
    return rrc_cause("the RRC connection was released before an answer came",
                     "The network let the request drop: look at the cell's load and at the "
                     "messages before the release.");
  }

  int timer_;
  int seconds_;
  bool has_connection_ = false;
  bool is_narrow_band_ = false;
};

// Attach (5.5.1). After one that ran into T3410 the modem waits for T3411 and begins again
// (5.5.1.2.6), which shows as a pause of its own.
//   request -> accept -> complete | reject | authentication reject
class attach_machine final : public request_machine {
 public:
  attach_machine() : request_machine(3410, t3410) {}

  void finish(procedure_log& log) override {
    if (run_ && is_accepted_) return close_without_complete(log);
    run_.close_unfinished(log);
    pause_.forget();
  }

 private:
  bool is_granted() const override { return is_accepted_; }

  void take_nas(const message& message, procedure_log& log) override {
    if (message.is(emm_message::attach_request)) return take_request(message, log);
    if (!run_) return;
    if (message.is(emm_message::attach_accept)) {
      run_.add(message);
      is_accepted_ = true;
    } else if (message.is(emm_message::attach_complete)) {
      run_.add(message);
      run_.close(log, procedure_result::succeeded, "accepted");
    } else if (message.is(emm_message::attach_reject)) {
      take_reject(message, log);
    } else if (message.is(emm_message::authentication_reject)) {
      // 5.4.2.5: it ends the attach as well.
      run_.add(message);
      run_.close(log, procedure_result::failed, "rejected",
                 cause{.protocol = "EMM",
                       .number = std::nullopt,
                       .words = "Authentication reject",
                       .clause = "TS 24.301 5.4.2.5",
                       .advice = "The network does not accept the SIM's answer: check that the "
                                 "SIM's keys are those of the HSS."});
    } else if (is_accepted_ &&
               (message.is(rrc_message::release) || message.is(rrc_message::connection_request))) {
      close_without_complete(log);
    } else if (message.is(emm_message::detach_request)) {
      abandon(log, "given up for a detach");
    }
  }

  void take_request(const message& request, procedure_log& log) {
    if (run_ && is_accepted_) close_without_complete(log);
    if (run_) close_unanswered(log, std::nullopt);
    if (pause_) {
      pause_.add(request);
      pause_.close(log, procedure_result::waited, "waited");
    }
    begin(procedure_kind::attach, request);
    is_accepted_ = false;
    request_ = request;
  }

  void take_reject(const message& message, procedure_log& log) {
    // The network refuses the bearer that came with the request (6.5.1.4) inside the reject.
    if (const auto number = message.fields.number(field::nas_esm_cause)) {
      running_procedure bearer;
      bearer.begin(procedure_kind::pdn_connectivity, request_);
      bearer.add(message);
      bearer.close(log, procedure_result::failed, "rejected", esm_cause(static_cast<int>(*number)));
    }
    refuse(message, log);
  }

  // Granted, but the modem's last message is missing.
  void close_without_complete(procedure_log& log) {
    run_.close(log, procedure_result::succeeded, "accepted (Attach complete not seen)");
  }

  void close_unanswered(procedure_log& log, std::optional<cause> why) override {
    pause_.begin(procedure_kind::attach_back_off, request_);
    run_.close_unanswered(log, std::move(why));
  }

  running_procedure pause_;
  message request_;
  bool is_accepted_ = false;
};

// Tracking area update (5.5.3).
//   request -> accept [-> complete, if the accept has a new identity] | reject
class update_machine final : public request_machine {
 public:
  update_machine() : request_machine(3430, t3430) {}

  void finish(procedure_log& log) override {
    if (run_ && is_accepted_) return accept(log);
    run_.close_unfinished(log);
  }

 private:
  bool is_granted() const override { return is_accepted_; }

  void accept(procedure_log& log) { run_.close(log, procedure_result::succeeded, "accepted"); }

  void take_nas(const message& message, procedure_log& log) override {
    if (message.is(emm_message::tracking_area_update_request)) {
      if (run_) is_accepted_ ? accept(log) : close_unanswered(log, std::nullopt);
      begin(procedure_kind::tracking_area_update, message);
      is_accepted_ = false;
      return;
    }
    if (!run_) return;
    if (message.is(emm_message::tracking_area_update_accept)) {
      run_.add(message);
      is_accepted_ = message.fields.has(field::nas_new_identity);
      if (!is_accepted_) accept(log);
    } else if (message.is(emm_message::tracking_area_update_complete)) {
      run_.add(message);
      accept(log);
    } else if (message.is(emm_message::tracking_area_update_reject)) {
      refuse(message, log);
    } else if (is_accepted_ && message.is(rrc_message::release)) {
      accept(log);
    } else if (message.is(emm_message::attach_request)) {
      abandon(log, "given up for an attach");
    } else if (message.is(emm_message::detach_request)) {
      abandon(log, "given up for a detach");
    }
  }

  bool is_accepted_ = false;
};

// Service request (5.6.1). The network says yes by setting up a bearer (5.6.1.4.1), to a control
// plane service request also with a service accept or with data (5.6.1.4.2).
//   request -> reconfiguration complete | service accept | data | service reject
class service_machine final : public request_machine {
 public:
  service_machine() : request_machine(3417, t3417) {}

  void finish(procedure_log& log) override { run_.close_unfinished(log); }

 private:
  void take_nas(const message& message, procedure_log& log) override {
    if (message.is(emm_message::service_request) ||
        message.is(emm_message::extended_service_request) ||
        message.is(emm_message::control_plane_service_request)) {
      if (run_) close_unanswered(log, std::nullopt);
      begin(procedure_kind::service_request, message);
      return;
    }
    if (!run_) return;
    if (message.is(rrc_message::reconfiguration_complete)) {
      accept(message, log, "accepted (bearer set up)");
    } else if (message.is(emm_message::service_accept)) {
      accept(message, log, "accepted");
    } else if (message.is(esm_message::data_transport) &&
               message.direction == direction::downlink) {
      accept(message, log, "accepted (data over the control plane)");
    } else if (message.is(rrc_message::mobility_from_eutra)) {
      accept(message, log, "accepted (moved to another radio technology)");
    } else if (message.is(emm_message::service_reject)) {
      refuse(message, log);
    } else if (message.is(emm_message::attach_request)) {
      abandon(log, "given up for an attach");
    } else if (message.is(emm_message::tracking_area_update_request)) {
      abandon(log, "given up for a tracking area update");
    } else if (message.is(emm_message::detach_request)) {
      abandon(log, "given up for a detach");
    }
  }

  void accept(const message& message, procedure_log& log, const char* outcome) {
    run_.add(message);
    run_.close(log, procedure_result::succeeded, outcome);
  }
};

// Detach (5.5.2), which either side begins. A modem that is switched off does not wait (5.5.2.2.2).
//   request -> accept
class detach_machine final : public request_machine {
 public:
  detach_machine() : request_machine(3421, t3421) {}

  void finish(procedure_log& log) override { run_.close_unfinished(log); }

 private:
  void take_nas(const message& message, procedure_log& log) override {
    if (message.is(emm_message::detach_request)) return take_request(message, log);
    if (!run_) return;
    if (message.is(emm_message::detach_accept)) {
      run_.add(message);
      run_.close(log, procedure_result::succeeded, "accepted", why_);
    } else if (message.is(emm_message::attach_request)) {
      // The network asked for it: re-attach required (5.5.2.3.2).
      abandon(log, "an attach follows");
    }
  }

  void take_request(const message& request, procedure_log& log) {
    if (run_) return run_.repeat(request);
    const bool by_network = request.direction == direction::downlink;
    begin(by_network ? procedure_kind::detach_by_network : procedure_kind::detach_by_modem,
          request);
    why_ = by_network ? emm_cause_in(request) : std::nullopt;
    if (!by_network && request.fields.number(field::nas_switch_off).value_or(0) != 0) {
      run_.close(log, procedure_result::succeeded, "switched off (no answer expected)");
    }
  }

  std::optional<cause> why_;
};

}  // namespace

void add_emm_machines(procedure_machines& machines) {
  machines.push_back(std::make_unique<attach_machine>());
  machines.push_back(std::make_unique<update_machine>());
  machines.push_back(std::make_unique<service_machine>());
  machines.push_back(std::make_unique<detach_machine>());
}

}  // namespace veltra::report
