#include <fmt/format.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "host/report/procedure_machine.h"
#include "tests/support/value_tests.h"
#include "tests/unit/host/report/script.h"

namespace veltra::report {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using rrc = rrc_message;
using emm = emm_message;
using esm = esm_message;

// "attach 1-4 accepted", with the cause behind it if there is one.
std::vector<std::string> found_in(const script& played) {
  std::vector<std::string> result;
  for (const procedure& each : find_procedures(played.messages())) {
    result.push_back(fmt::format("{} {}-{} {}", procedure_id(each.kind), each.first_frame(),
                                 each.last_frame(), each.outcome));
    if (each.cause) result.back() += ": " + each.cause->text();
    if (each.retransmissions != 0) {
      result.back() += fmt::format(" ({} sent again)", each.retransmissions);
    }
  }
  return result;
}

// RRC connection setup.

TEST(rrc_setup, is_established_by_its_completion) {
  EXPECT_THAT(found_in(script().connect()), ElementsAre("rrc_setup 1-3 established"));
}

TEST(rrc_setup, is_unanswered_if_the_modem_asks_again) {
  EXPECT_THAT(found_in(script().rrc(rrc::connection_request).connect()),
              ElementsAre("rrc_setup 1-1 no answer", "rrc_setup 2-4 established"));
}

TEST(rrc_setup, a_reject_names_the_time_to_wait) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::connection_request)
                           .rrc(rrc::connection_reject, {{field::rrc_wait_time, "6"}})
                           .after(6100)
                           .connect()),
              ElementsAre("rrc_setup 1-2 rejected: RRCConnectionReject, waitTime 6 s",
                          "rrc_back_off 2-3 waited", "rrc_setup 3-5 established"));
}

TEST(rrc_setup, a_longer_time_to_wait_counts_instead) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::connection_request)
                           .rrc(rrc::connection_reject, {{field::rrc_wait_time, "1"},
                                                         {field::rrc_extended_wait_time, "900"}})),
              ElementsAre("rrc_setup 1-2 rejected: RRCConnectionReject, extendedWaitTime 900 s"));
}

TEST(rrc_setup, is_unfinished_at_the_end_of_the_trace) {
  EXPECT_THAT(found_in(script().rrc(rrc::connection_request).rrc(rrc::connection_setup)),
              ElementsAre("rrc_setup 1-2 not finished in the trace"));
}

TEST(rrc_setup, a_trace_that_starts_inside_one_has_none) {
  EXPECT_THAT(found_in(script().rrc(rrc::connection_setup).rrc(rrc::connection_setup_complete)),
              IsEmpty());
}

TEST(rrc_setup, a_restart_of_the_modem_ends_it) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::connection_request)
                           .rrc(rrc::paging)
                           .restarted()
                           .rrc(rrc::connection_setup_complete)),
              ElementsAre("rrc_setup 1-1 not finished in the trace"));
}

TEST(rrc_resume, is_taken_up_again) {
  EXPECT_THAT(
      found_in(script().rrc(rrc::resume_request).rrc(rrc::resume).rrc(rrc::resume_complete)),
      ElementsAre("rrc_resume 1-3 resumed"));
}

TEST(rrc_resume, may_become_a_setup) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::resume_request)
                           .rrc(rrc::connection_setup)
                           .rrc(rrc::connection_setup_complete)),
              ElementsAre("rrc_resume 1-3 established (setup instead of resume)"));
}

// Re-establishment.

TEST(rrc_reestablishment, gives_the_reason_for_the_loss) {
  EXPECT_THAT(
      found_in(script()
                   .rrc(rrc::reestablishment_request, {{field::rrc_reestablishment_cause, "2"}})
                   .rrc(rrc::reestablishment)
                   .rrc(rrc::reestablishment_complete)),
      ElementsAre("rrc_reestablishment 1-3 re-established: "
                  "reestablishmentCause otherFailure"));
}

TEST(rrc_reestablishment, is_rejected) {
  EXPECT_THAT(
      found_in(script()
                   .rrc(rrc::reestablishment_request, {{field::rrc_reestablishment_cause, "1"}})
                   .rrc(rrc::reestablishment_reject)),
      ElementsAre("rrc_reestablishment 1-2 rejected: "
                  "reestablishmentCause handoverFailure"));
}

TEST(rrc_reestablishment, has_other_reasons_in_a_narrow_band) {
  EXPECT_THAT(
      found_in(script()
                   .rrc(rrc::reestablishment_request, {{field::rrc_reestablishment_cause_nb, "1"}})
                   .rrc(rrc::reestablishment_reject)),
      ElementsAre("rrc_reestablishment 1-2 rejected: "
                  "reestablishmentCause otherFailure"));
}

TEST(rrc_reestablishment, is_unanswered_if_the_modem_begins_from_idle) {
  EXPECT_THAT(found_in(script().rrc(rrc::reestablishment_request).connect()),
              ElementsAre("rrc_reestablishment 1-1 no answer", "rrc_setup 2-4 established"));
}

// Reconfiguration and handover.

const script::values handover_to_120 = {{field::rrc_mobility_control_info, "1"},
                                        {field::rrc_target_cell, "120"},
                                        {field::rrc_transaction, "1"}};

TEST(handover, is_a_reconfiguration_to_another_cell) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::reconfiguration, handover_to_120)
                           .rrc(rrc::reconfiguration_complete, {{field::rrc_transaction, "1"}})),
              ElementsAre("handover 1-2 complete"));
}

TEST(handover, fails_with_a_re_establishment) {
  EXPECT_THAT(
      found_in(script()
                   .rrc(rrc::reconfiguration, handover_to_120)
                   .rrc(rrc::reestablishment_request, {{field::rrc_reestablishment_cause, "1"}})),
      ElementsAre("handover 1-2 failed: reestablishmentCause handoverFailure",
                  "rrc_reestablishment 2-2 not finished in the trace"));
}

TEST(rrc_reconfiguration, an_answer_to_another_one_does_not_count) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::reconfiguration, {{field::rrc_transaction, "2"}})
                           .rrc(rrc::reconfiguration_complete, {{field::rrc_transaction, "1"}})
                           .rrc(rrc::reconfiguration_complete, {{field::rrc_transaction, "2"}})),
              ElementsAre("rrc_reconfiguration 1-3 complete"));
}

TEST(rrc_reconfiguration, is_unanswered_if_the_connection_is_released) {
  EXPECT_THAT(found_in(script().rrc(rrc::reconfiguration).release()),
              ElementsAre("rrc_reconfiguration 1-2 no answer"));
}

TEST(as_security, fails_if_the_modem_says_so) {
  EXPECT_THAT(found_in(script().rrc(rrc::security_mode_command).rrc(rrc::security_mode_failure)),
              ElementsAre("as_security 1-2 failed"));
}

// Paging.

script::values identity(const char* tmsi) {
  return {{field::rrc_mmec, "07"}, {field::rrc_m_tmsi, tmsi}};
}

TEST(paging, is_known_by_the_identity_in_the_answer) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::paging, identity("aaaa"))
                           .rrc(rrc::paging, identity("bbbb"))
                           .rrc(rrc::connection_request, identity("aaaa"))
                           .nas(emm::service_request)
                           .rrc(rrc::connection_setup_complete)
                           .rrc(rrc::reconfiguration_complete)),
              ElementsAre("paging 1-4 answered", "rrc_setup 3-5 established",
                          "service_request 4-6 accepted (bearer set up)"));
}

TEST(paging, one_that_is_too_old_is_not_the_reason) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::paging, identity("aaaa"))
                           .after(11'000)
                           .rrc(rrc::connection_request, identity("aaaa"))
                           .nas(emm::service_request)),
              ElementsAre("rrc_setup 2-2 not finished in the trace",
                          "service_request 3-3 not finished in the trace"));
}

TEST(paging, is_repeated_and_then_given_up) {
  EXPECT_THAT(found_in(script()
                           .rrc(rrc::connection_request, identity("aaaa"))
                           .rrc(rrc::connection_setup_complete)
                           .release()
                           .rrc(rrc::paging, identity("aaaa"))
                           .after(2000)
                           .rrc(rrc::paging, identity("aaaa"))
                           .after(9000)
                           .rrc(rrc::paging, identity("bbbb"))),
              ElementsAre("rrc_setup 1-2 established", "paging 4-5 no answer (1 sent again)"));
}

// Attach.

TEST(attach, succeeds_with_its_completion) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::attach_request)
                           .connect()
                           .nas(emm::attach_accept)
                           .nas(emm::attach_complete)),
              ElementsAre("attach 1-6 accepted", "rrc_setup 2-4 established"));
}

class attach_reject_causes : public testing::Test, public test_support::given_value<int> {};

TEST_GIVEN(attach_reject_causes, are_kept_in_words) {
  const int number = given();
  const std::vector<procedure> found =
      find_procedures(script()
                          .nas(emm::attach_request)
                          .nas(emm::attach_reject, {{field::nas_emm_cause, std::to_string(number)}})
                          .messages());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].result, procedure_result::failed);
  ASSERT_TRUE(found[0].cause);
  EXPECT_EQ(found[0].cause->number, number);
  EXPECT_EQ(found[0].cause->text(), emm_cause(number).text());
  EXPECT_NE(found[0].cause->advice, "");
}

GIVEN(ts_24_301, attach_reject_causes,
      {2, 3, 5, 6, 7, 8, 11, 12, 13, 14, 15, 17, 19, 22, 25, 35, 42, 95, 96, 97, 99, 100, 111});

TEST(attach, a_refused_bearer_is_a_procedure_of_its_own) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::attach_request)
                           .nas(emm::attach_reject,
                                {{field::nas_emm_cause, "19"}, {field::nas_esm_cause, "27"}})),
              ElementsAre("pdn_connectivity 1-2 rejected: ESM #27 Missing or unknown APN",
                          "attach 1-2 rejected: EMM #19 ESM failure"));
}

TEST(attach, ends_with_a_rejected_authentication) {
  EXPECT_THAT(
      found_in(script()
                   .nas(emm::attach_request)
                   .nas(emm::authentication_request)
                   .nas(emm::authentication_response)
                   .nas(emm::authentication_reject)),
      ElementsAre("attach 1-4 rejected: Authentication reject", "authentication 2-4 rejected"));
}

TEST(attach, runs_into_its_timer) {
  EXPECT_THAT(found_in(script()
                           .connect()
                           .nas(emm::attach_request)
                           .after(15'020)
                           .release()
                           .after(10'000)
                           .connect()
                           .nas(emm::attach_request)),
              ElementsAre("rrc_setup 1-3 established", "attach_back_off 4-9 waited",
                          "attach 4-5 no answer: T3410 (15 s) expired, no answer",
                          "rrc_setup 6-8 established", "attach 9-9 not finished in the trace"));
}

TEST(attach, waits_longer_in_a_narrow_band) {
  EXPECT_THAT(found_in(script()
                           .narrow_band()
                           .connect()
                           .nas(emm::attach_request)
                           .after(15'020)
                           .release()
                           .connect()
                           .nas(emm::attach_request)
                           .after(255'010)
                           .release()),
              ElementsAre("rrc_setup 1-3 established", "attach_back_off 4-9 waited",
                          "attach 4-5 no answer: the RRC connection was released before an answer "
                          "came",
                          "rrc_setup 6-8 established",
                          "attach 9-10 no answer: T3410 (255 s) expired, no answer"));
}

TEST(attach, losses_inside_make_the_missing_answer_uncertain) {
  EXPECT_THAT(found_in(script().connect().nas(emm::attach_request).lost(9).after(15'000).release()),
              ElementsAre("rrc_setup 1-3 established",
                          "attach 4-6 no answer seen (9 traces lost while it was awaited): "
                          "T3410 (15 s) expired, no answer"));
}

TEST(attach, fails_without_a_connection) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::attach_request)
                           .rrc(rrc::connection_request)
                           .rrc(rrc::connection_reject, {{field::rrc_wait_time, "3"}})),
              ElementsAre("attach 1-3 no RRC connection: RRCConnectionReject, waitTime 3 s",
                          "rrc_setup 2-3 rejected: RRCConnectionReject, waitTime 3 s"));
}

TEST(attach, is_unanswered_if_the_connection_is_lost) {
  EXPECT_THAT(found_in(script().nas(emm::attach_request).connect().rrc(rrc::connection_request)),
              ElementsAre("attach 1-5 no answer: the RRC connection was lost before an answer came",
                          "rrc_setup 2-4 established", "rrc_setup 5-5 not finished in the trace"));
}

TEST(attach, counts_as_accepted_without_its_last_message) {
  EXPECT_THAT(found_in(script().nas(emm::attach_request).nas(emm::attach_accept).release()),
              ElementsAre("attach 1-2 accepted (Attach complete not seen)"));
}

TEST(attach, a_trace_that_starts_inside_one_has_none) {
  EXPECT_THAT(found_in(script().nas(emm::attach_accept).nas(emm::attach_complete)), IsEmpty());
}

TEST(attach, keeps_apart_what_runs_inside_it) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::attach_request)
                           .nas(emm::identity_request)
                           .rrc(rrc::security_mode_command)
                           .nas(emm::identity_response)
                           .nas(emm::authentication_request)
                           .rrc(rrc::security_mode_complete)
                           .nas(emm::authentication_response)
                           .nas(emm::attach_accept)
                           .nas(emm::attach_complete)),
              ElementsAre("attach 1-9 accepted", "identification 2-4 answered",
                          "as_security 3-6 complete", "authentication 5-7 response sent"));
}

// Tracking area update.

TEST(tracking_area_update, ends_with_the_accept) {
  EXPECT_THAT(
      found_in(
          script().nas(emm::tracking_area_update_request).nas(emm::tracking_area_update_accept)),
      ElementsAre("tracking_area_update 1-2 accepted"));
}

TEST(tracking_area_update, a_new_identity_is_confirmed) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::tracking_area_update_request)
                           .nas(emm::tracking_area_update_accept, {{field::nas_new_identity, "7"}})
                           .nas(emm::tracking_area_update_complete)),
              ElementsAre("tracking_area_update 1-3 accepted"));
}

TEST(tracking_area_update, is_rejected) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::tracking_area_update_request)
                           .nas(emm::tracking_area_update_reject, {{field::nas_emm_cause, "10"}})),
              ElementsAre("tracking_area_update 1-2 rejected: EMM #10 Implicitly detached"));
}

TEST(tracking_area_update, runs_into_its_timer) {
  EXPECT_THAT(found_in(script().nas(emm::tracking_area_update_request).after(15'001).release()),
              ElementsAre("tracking_area_update 1-2 no answer: T3430 (15 s) expired, no answer"));
}

// Service request.

TEST(service_request, is_rejected) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::service_request)
                           .nas(emm::service_reject, {{field::nas_emm_cause, "9"}})),
              ElementsAre("service_request 1-2 rejected: "
                          "EMM #9 UE identity cannot be derived by the network"));
}

TEST(service_request, runs_into_its_timer) {
  EXPECT_THAT(found_in(script().nas(emm::service_request).after(5001).release()),
              ElementsAre("service_request 1-2 no answer: T3417 (5 s) expired, no answer"));
}

TEST(service_request, over_the_control_plane_ends_with_an_accept_or_with_data) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::control_plane_service_request)
                           .nas(emm::service_accept)
                           .nas(emm::control_plane_service_request)
                           .nas(esm::data_transport)
                           .going(direction::uplink)
                           .nas(esm::data_transport)
                           .going(direction::downlink)),
              ElementsAre("service_request 1-2 accepted",
                          "service_request 3-5 accepted (data over the control plane)"));
}

TEST(service_request, gives_way_to_an_attach) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::extended_service_request)
                           .nas(emm::attach_request)
                           .nas(emm::attach_accept)
                           .nas(emm::attach_complete)),
              ElementsAre("service_request 1-1 given up for an attach", "attach 2-4 accepted"));
}

// Detach.

TEST(detach, is_sent_again_until_it_is_accepted) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::detach_request)
                           .going(direction::uplink)
                           .after(15'000)
                           .nas(emm::detach_request)
                           .going(direction::uplink)
                           .nas(emm::detach_accept)),
              ElementsAre("detach_by_modem 1-3 accepted (1 sent again)"));
}

TEST(detach, by_the_network_keeps_its_cause) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::detach_request, {{field::nas_emm_cause, "2"}})
                           .going(direction::downlink)
                           .nas(emm::detach_accept)),
              ElementsAre("detach_by_network 1-2 accepted: EMM #2 IMSI unknown in HSS"));
}

TEST(detach, a_modem_that_is_switched_off_does_not_wait) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::detach_request, {{field::nas_switch_off, "1"}})
                           .going(direction::uplink)),
              ElementsAre("detach_by_modem 1-1 switched off (no answer expected)"));
}

// Commands and their answers.

TEST(authentication, a_retransmission_is_not_another_one) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::authentication_request)
                           .after(6000)
                           .nas(emm::authentication_request)
                           .nas(emm::authentication_response)),
              ElementsAre("authentication 1-3 response sent (1 sent again)"));
}

TEST(authentication, fails_at_the_modem) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::authentication_request)
                           .nas(emm::authentication_failure, {{field::nas_emm_cause, "20"}})
                           .nas(emm::authentication_reject)),
              ElementsAre("authentication 1-2 failed: EMM #20 MAC failure"));
}

TEST(nas_security, is_refused_by_the_modem) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::security_mode_command)
                           .nas(emm::security_mode_reject, {{field::nas_emm_cause, "23"}})),
              ElementsAre("nas_security 1-2 failed: EMM #23 UE security capabilities mismatch"));
}

TEST(identification, an_answer_that_the_trace_lacks_is_not_a_failure) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::attach_request)
                           .nas(emm::identity_request)
                           .nas(emm::attach_accept)
                           .nas(emm::attach_complete)),
              ElementsAre("attach 1-4 accepted", "identification 2-2 answer not in the trace"));
}

TEST(pdn_connectivity, beside_the_first_one_is_granted_by_a_bearer) {
  EXPECT_THAT(found_in(script()
                           .nas(esm::pdn_connectivity_request)
                           .nas(esm::activate_default_bearer_request)
                           .nas(esm::activate_default_bearer_accept)
                           .nas(esm::pdn_connectivity_request)
                           .nas(esm::pdn_connectivity_reject, {{field::nas_esm_cause, "55"}})),
              ElementsAre("pdn_connectivity 1-2 accepted", "default_bearer 2-3 accepted",
                          "pdn_connectivity 4-5 rejected: ESM #55 Multiple PDN connections for a "
                          "given APN not allowed"));
}

TEST(bearers, are_activated_modified_and_deactivated) {
  EXPECT_THAT(
      found_in(script()
                   .nas(esm::activate_dedicated_bearer_request)
                   .nas(esm::activate_dedicated_bearer_reject, {{field::nas_esm_cause, "26"}})
                   .nas(esm::modify_bearer_request)
                   .nas(esm::modify_bearer_accept)
                   .nas(esm::deactivate_bearer_request)
                   .nas(esm::deactivate_bearer_accept)),
      ElementsAre("dedicated_bearer 1-2 failed: ESM #26 Insufficient resources",
                  "bearer_modification 3-4 accepted", "bearer_deactivation 5-6 accepted"));
}

TEST(bearers, two_at_the_same_time_are_kept_apart) {
  const script::values first = {{field::nas_bearer, "6"}};
  const script::values second = {{field::nas_bearer, "7"}};
  EXPECT_THAT(
      found_in(script()
                   .nas(esm::activate_dedicated_bearer_request, first)
                   .nas(esm::activate_dedicated_bearer_request, second)
                   .nas(esm::activate_dedicated_bearer_request, second)
                   .nas(esm::activate_dedicated_bearer_accept, second)
                   .nas(esm::activate_dedicated_bearer_accept, first)),
      ElementsAre("dedicated_bearer 1-5 accepted", "dedicated_bearer 2-4 accepted (1 sent again)"));
}

TEST(bearers, one_whose_answer_is_lost_does_not_take_that_of_another) {
  EXPECT_THAT(
      found_in(script()
                   .nas(esm::deactivate_bearer_request, {{field::nas_bearer, "6"}})
                   .nas(esm::deactivate_bearer_request, {{field::nas_bearer, "7"}})
                   .lost(3)
                   .nas(esm::deactivate_bearer_accept, {{field::nas_bearer, "7"}})
                   .release()),
      ElementsAre("bearer_deactivation 1-5 no answer seen (3 traces lost while it was awaited)",
                  "bearer_deactivation 2-4 accepted"));
}

TEST(pdn_connectivity, two_at_the_same_time_are_kept_apart) {
  EXPECT_THAT(found_in(script()
                           .nas(esm::pdn_connectivity_request, {{field::nas_transaction, "3"}})
                           .nas(esm::pdn_connectivity_request, {{field::nas_transaction, "4"}})
                           .nas(esm::pdn_connectivity_reject,
                                {{field::nas_transaction, "4"}, {field::nas_esm_cause, "27"}})
                           .nas(esm::activate_default_bearer_request,
                                {{field::nas_transaction, "3"}, {field::nas_bearer, "6"}})
                           .nas(esm::activate_default_bearer_accept,
                                {{field::nas_transaction, "0"}, {field::nas_bearer, "6"}})),
              ElementsAre("pdn_connectivity 1-4 accepted",
                          "pdn_connectivity 2-3 rejected: ESM #27 Missing or unknown APN",
                          "default_bearer 4-5 accepted"));
}

// Short messages.

script::values cp(const char* type, const char* side, const char* transaction = "1") {
  return {{field::sms_cp_type, type},
          {field::sms_transaction_side, side},
          {field::sms_transaction, transaction}};
}

script::values rp(const char* type, const char* side, const char* cause = nullptr) {
  script::values result = cp("0x01", side);
  result.emplace_back(field::sms_rp_type, type);
  if (cause != nullptr) result.emplace_back(field::sms_rp_cause, cause);
  return result;
}

TEST(sms_sent, ends_when_the_modem_confirms_the_report) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::uplink_nas_transport, rp("0x00", "0"))
                           .nas(emm::downlink_nas_transport, cp("0x04", "1"))
                           .nas(emm::downlink_nas_transport, rp("0x03", "1"))
                           .nas(emm::uplink_nas_transport, cp("0x04", "0"))),
              ElementsAre("sms_sent 1-4 acknowledged"));
}

TEST(sms_sent, is_refused_with_a_cause) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::uplink_nas_transport, rp("0x00", "0"))
                           .nas(emm::downlink_nas_transport, rp("0x05", "1", "38"))
                           .nas(emm::uplink_nas_transport, cp("0x04", "0"))),
              ElementsAre("sms_sent 1-3 refused: RP #38 Network out of order"));
}

TEST(sms_sent, fails_below_the_relay) {
  script::values error = cp("0x10", "1");
  error.emplace_back(field::sms_cp_cause, "17");
  EXPECT_THAT(found_in(script()
                           .nas(emm::uplink_nas_transport, rp("0x00", "0"))
                           .nas(emm::downlink_nas_transport, error)),
              ElementsAre("sms_sent 1-2 refused: CP #17 Network failure"));
}

TEST(sms_sent, another_transaction_in_between_does_not_matter) {
  EXPECT_THAT(found_in(script()
                           .nas(emm::uplink_nas_transport, rp("0x00", "0"))
                           .nas(emm::downlink_nas_transport, rp("0x01", "0"))
                           .nas(emm::uplink_nas_transport, cp("0x04", "1"))
                           .nas(emm::downlink_nas_transport, cp("0x04", "1"))
                           .nas(emm::uplink_nas_transport, rp("0x02", "1"))
                           .nas(emm::downlink_nas_transport, cp("0x04", "0"))
                           .nas(emm::downlink_nas_transport, rp("0x03", "1"))
                           .nas(emm::uplink_nas_transport, cp("0x04", "0"))),
              ElementsAre("sms_sent 1-8 acknowledged", "sms_received 2-6 acknowledged"));
}

TEST(sms_received, is_unanswered_if_the_connection_is_released) {
  EXPECT_THAT(found_in(script().nas(emm::downlink_nas_transport, rp("0x01", "0")).release()),
              ElementsAre("sms_received 1-2 no answer"));
}

}  // namespace
}  // namespace veltra::report
