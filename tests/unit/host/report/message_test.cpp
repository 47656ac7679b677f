#include "host/report/message.h"

#include <gtest/gtest.h>

#include <string_view>

#include "host/report/nas_copies.h"
#include "tests/unit/host/report/script.h"

namespace veltra::report {
namespace {

message at_line(std::string_view text, way direction = way::unknown) {
  capture_frame frame;
  frame.link_type = 252;
  frame.dissector = "at";
  frame.direction = direction;
  frame.bytes = {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
  return make_message(frame, {});
}

message rrc_frame(std::string_view dissector, field_values fields = {}) {
  capture_frame frame;
  frame.link_type = 252;
  frame.dissector = dissector;
  return make_message(frame, std::move(fields));
}

TEST(message, an_at_line_needs_no_dissection) {
  const message line = at_line("\r\n+CEREG: 2\r\n", way::received);
  EXPECT_EQ(line.layer, layer::at);
  EXPECT_EQ(line.name, "+CEREG: 2");
  EXPECT_EQ(line.direction, direction::answer);
  EXPECT_EQ(at_line("AT+CFUN=1\r\n", way::sent).direction, direction::command);
  EXPECT_EQ(at_line("000100\x1A", way::received).direction, direction::command);
  EXPECT_EQ(at_line("+CGDCONT: 1\r\n\r\nOK\r\n").name, "+CGDCONT: 1\n\nOK");
}

TEST(message, a_report_of_lost_traces_is_counted) {
  EXPECT_EQ(at_line("Dropped traces count: 9").traces_lost, 9U);
  EXPECT_EQ(at_line("Dropped traces count: many").traces_lost, 0U);
}

TEST(message, the_kind_of_an_rrc_message_is_that_of_its_outermost_element) {
  field_values fields;
  // A handover brings the target's system information along.
  fields.add(field::rrc_system_information_1, "1");
  fields.add(field::rrc_reconfiguration, "1");
  EXPECT_TRUE(rrc_frame("lte_rrc.dl_dcch", fields).is(rrc_message::reconfiguration));
  EXPECT_TRUE(rrc_frame("lte_rrc.dl_dcch").is(rrc_message::none));
}

TEST(message, a_narrow_band_channel_is_known_by_its_name) {
  EXPECT_TRUE(rrc_frame("lte_rrc.dl_dcch.nb").narrow_band);
  EXPECT_FALSE(rrc_frame("lte_rrc.dl_dcch").narrow_band);
}

TEST(message, numbers_are_decimal_hexadecimal_or_words) {
  field_values fields;
  fields.add(field::nas_emm_type, "0x41");
  fields.add(field::nas_emm_cause, "15");
  fields.add(field::sms_transaction_side, "True");
  fields.add(field::rrc_cell, "none");
  EXPECT_EQ(fields.number(field::nas_emm_type), 0x41U);
  EXPECT_EQ(fields.number(field::nas_emm_cause), 15U);
  EXPECT_EQ(fields.number(field::sms_transaction_side), 1U);
  EXPECT_EQ(fields.number(field::rrc_cell), std::nullopt);
}

// An RRC message that carries a NAS message: a plain one has a type, a ciphered one has not.
script& carrier(script& played, direction way, const char* type = nullptr) {
  script::values fields = {{field::nas_security_header, "2"}};
  if (type != nullptr) fields.emplace_back(field::nas_emm_type, type);
  played.rrc(rrc_message::none, fields).going(way);
  played.messages().back().carries_nas = true;
  return played;
}

TEST(nas_copies, what_is_sent_is_carried_by_the_message_after_it) {
  script played;
  played.nas(emm_message::attach_request);
  carrier(played.after(0.7), direction::uplink, "65");
  match_nas_copies(played.messages());
  EXPECT_EQ(played.messages()[1].nas_copy, 1U);
  EXPECT_FALSE(played.messages()[1].is(emm_message::attach_request));
  EXPECT_EQ(played.messages()[0].direction, direction::uplink);
}

TEST(nas_copies, what_is_received_was_carried_by_the_message_before_it) {
  script played;
  carrier(played, direction::downlink);
  played.after(0.5).nas(emm_message::detach_request, {{field::nas_detach_sent, "1"}});
  match_nas_copies(played.messages());
  EXPECT_EQ(played.messages()[0].nas_copy, 2U);
  // The carrier is a better witness than the guess by length.
  EXPECT_EQ(played.messages()[1].direction, direction::downlink);
}

TEST(nas_copies, another_message_is_not_a_copy) {
  script played;
  played.nas(emm_message::attach_request);
  carrier(played.after(0.7), direction::uplink, "76");
  carrier(played.after(6), direction::uplink, "65");
  match_nas_copies(played.messages());
  EXPECT_EQ(played.messages()[1].nas_copy, 0U);
  EXPECT_EQ(played.messages()[2].nas_copy, 0U);
}

TEST(nas_copies, each_carrier_is_used_once) {
  script played;
  played.nas(emm_message::identity_response);
  played.after(0.1).nas(emm_message::authentication_response);
  carrier(played.after(0.1), direction::uplink);
  carrier(played.after(0.1), direction::uplink);
  match_nas_copies(played.messages());
  EXPECT_EQ(played.messages()[2].nas_copy, 1U);
  EXPECT_EQ(played.messages()[3].nas_copy, 2U);
}

}  // namespace
}  // namespace veltra::report
