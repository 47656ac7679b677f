// Short messages over NAS (TS 24.301, 5.6.3), whose relay layer is that of TS 24.011.
//   CP-DATA with RP-DATA -> CP-ACK -> CP-DATA with RP-ACK or RP-ERROR -> CP-ACK
#include <string>

#include "host/report/procedure_machine.h"

namespace veltra::report {

namespace {

// TS 24.011, tables 8.1 and 8.3.
constexpr std::uint64_t cp_ack = 0x04;
constexpr std::uint64_t cp_error = 0x10;
constexpr std::uint64_t rp_data_sent = 0;
constexpr std::uint64_t rp_data_received = 1;
constexpr std::uint64_t rp_ack_sent = 2;
constexpr std::uint64_t rp_ack_received = 3;
constexpr std::uint64_t rp_error_sent = 4;
constexpr std::uint64_t rp_error_received = 5;

// One direction of short messages.
class sms_machine final : public procedure_machine {
 public:
  explicit sms_machine(bool is_sent) : is_sent_(is_sent) {}

  void take(const message& message, procedure_log& log) override {
    run_.watch(message);
    if (message.is(rrc_message::release) && run_) {
      run_.add(message);
      return is_decided_ ? close(log) : run_.close_unanswered(log);
    }
    const bool is_uplink = message.is(emm_message::uplink_nas_transport);
    if (!is_uplink && !message.is(emm_message::downlink_nas_transport)) return;
    const auto type = message.fields.number(field::sms_cp_type);
    if (!type || !is_own(message, is_uplink)) return;
    if (message.fields.number(field::sms_rp_type) == (is_sent_ ? rp_data_sent : rp_data_received)) {
      return take_data(message, log);
    }
    if (!run_ || message.fields.number(field::sms_transaction) != transaction_) return;
    run_.add(message);
    if (type == cp_error) {
      fail(cp_cause(static_cast<int>(message.fields.number(field::sms_cp_cause).value_or(0))));
      return close(log);
    }
    if (type == cp_ack && is_decided_) return close(log);
    take_answer(message);
  }

  void finish(procedure_log& log) override {
    if (run_ && is_decided_) return close(log);
    run_.close_unfinished(log);
  }

 private:
  // The flag is 0 in what the side sends that began the transaction (TS 24.007, 11.2.3.1.3).
  bool is_own(const message& message, bool is_uplink) const {
    const bool begun_by_sender =
        message.fields.number(field::sms_transaction_side).value_or(0) == 0;
    const bool begun_by_modem = is_uplink == begun_by_sender;
    return begun_by_modem == is_sent_;
  }

  void take_data(const message& data, procedure_log& log) {
    const auto transaction = data.fields.number(field::sms_transaction);
    if (run_ && !is_decided_ && transaction == transaction_) return run_.repeat(data);
    if (run_) is_decided_ ? close(log) : run_.close_unanswered(log);
    run_.begin(is_sent_ ? procedure_kind::sms_sent : procedure_kind::sms_received, data);
    transaction_ = transaction;
    is_decided_ = false;
    why_.reset();
  }

  void take_answer(const message& message) {
    const auto type = message.fields.number(field::sms_rp_type);
    if (type == (is_sent_ ? rp_ack_received : rp_ack_sent)) is_decided_ = true;
    if (type == (is_sent_ ? rp_error_received : rp_error_sent)) {
      fail(rp_cause(static_cast<int>(message.fields.number(field::sms_rp_cause).value_or(0))));
    }
  }

  void fail(cause why) {
    is_decided_ = true;
    why_ = std::move(why);
  }

  void close(procedure_log& log) {
    if (why_) return run_.close(log, procedure_result::failed, "refused", why_);
    run_.close(log, procedure_result::succeeded, "acknowledged");
  }

  bool is_sent_;
  running_procedure run_;
  std::optional<std::uint64_t> transaction_;
  bool is_decided_ = false;  // an RP-ACK or RP-ERROR came
  std::optional<cause> why_;
};

}  // namespace

void add_sms_machines(procedure_machines& machines) {
  machines.push_back(std::make_unique<sms_machine>(true));
  machines.push_back(std::make_unique<sms_machine>(false));
}

}  // namespace veltra::report
