#include "host/report/at_commands.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/unit/host/report/script.h"

namespace veltra::report {
namespace {

using testing::ElementsAre;

std::vector<std::string> commands_in(const script& played) {
  std::vector<std::string> result;
  for (const at_command& each : find_at_commands(played.messages())) {
    result.push_back(fmt::format("{}-{} {} > {}{}", each.first_frame, each.last_frame, each.command,
                                 each.result, each.is_error ? " (error)" : ""));
  }
  return result;
}

TEST(at_commands, end_with_a_final_result_code) {
  EXPECT_THAT(
      commands_in(script()
                      .at("AT+CGATT=1")
                      .at("+CEREG: 2")
                      .at("+CME ERROR: 148")
                      .at("ATD*99#")
                      .at("CONNECT 115200")),
      ElementsAre("1-3 AT+CGATT=1 > +CME ERROR: 148 (error)", "4-5 ATD*99# > CONNECT 115200"));
}

TEST(at_commands, have_a_latency) {
  const auto found = find_at_commands(script().at("AT").after(42.5).at("OK").messages());
  EXPECT_DOUBLE_EQ(found.at(0).milliseconds(), 42.5);
}

TEST(at_commands, an_echo_is_not_another_command) {
  EXPECT_THAT(commands_in(script().at("AT+CFUN=1", direction::command).at("AT+CFUN=1").at("OK")),
              ElementsAre("1-3 AT+CFUN=1 > OK"));
}

TEST(at_commands, a_result_may_come_with_what_precedes_it) {
  EXPECT_THAT(commands_in(script().at("AT+CEREG?").at("+CEREG: 2,1\n\nOK")),
              ElementsAre("1-2 AT+CEREG? > OK"));
}

TEST(at_commands, the_text_of_a_short_message_is_part_of_its_command) {
  EXPECT_THAT(commands_in(script()
                              .at("AT+CMGS=20", direction::command)
                              .at(">", direction::answer)
                              .at("000100\x1A", direction::command)
                              .at("+CMGS: 42\n\nOK", direction::answer)),
              ElementsAre("1-4 AT+CMGS=20 > OK"));
}

TEST(at_commands, one_without_a_result_ends_with_the_next) {
  EXPECT_THAT(commands_in(script().at("AT+COPS=?").at("AT").at("OK").at("AT+CSQ")),
              ElementsAre("1-1 AT+COPS=? > ", "2-3 AT > OK", "4-4 AT+CSQ > "));
}

TEST(at_commands, a_result_without_a_command_is_none) {
  EXPECT_THAT(commands_in(script().at("OK").at("NO CARRIER")), ElementsAre());
}

TEST(at_commands, are_counted_without_their_parameters) {
  EXPECT_EQ(at_command_name("AT+CGDCONT=1,\"IP\""), "AT+CGDCONT");
  EXPECT_EQ(at_command_name("AT+CEREG?"), "AT+CEREG");
  EXPECT_EQ(at_command_name("ATD*99#"), "ATD");
  EXPECT_EQ(at_command_name("ATE0"), "ATE");
  EXPECT_EQ(at_command_name("AT"), "AT");
}

TEST(registration_state, is_that_of_the_last_report_or_answer) {
  EXPECT_EQ(last_registration_state(script().at("OK").messages()), -1);
  EXPECT_EQ(last_registration_state(script().at("+CEREG: 2").messages()), 2);
  EXPECT_EQ(last_registration_state(script().at("+CEREG: 5,\"0011\",\"00A1B201\",7").messages()),
            5);
  EXPECT_EQ(last_registration_state(script().at("+CEREG: 3,1,\"0058\",\"00220C11\",7").messages()),
            1);
  EXPECT_EQ(last_registration_state(script().at("+CEREG: ").messages()), -1);
}

}  // namespace
}  // namespace veltra::report
