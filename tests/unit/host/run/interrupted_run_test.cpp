// Runs that Ctrl-C ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <utility>

#include "tests/support/event_count.h"
#include "tests/unit/host/run/run_fixture.h"
#include "tests/unit/host/run/scripted_sink.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class interrupted_run_test : public run_test {};

TEST_F(interrupted_run_test, ctrl_c_leaves_a_whole_capture_of_what_came_before) {
  script({{"steps", {packet_step("ip", "E"), wait_step, packet_step("at", "OK")}}});
  press_ctrl_c_at("ip");
  EXPECT_EQ(run_file(), exit_code::interrupted);
  EXPECT_EQ(captured().size(), 1U);
  EXPECT_THAT(printed_, HasSubstr("interrupted before its end"));
}

TEST_F(interrupted_run_test, ctrl_c_before_the_first_packet_of_a_file_leaves_nothing) {
  script({{"steps", {raw_step, wait_step, packet_step("at", "OK")}}});
  press_ctrl_c_at("modem_trace");
  EXPECT_EQ(
      refusal_of([&] { run_file(); }, exit_code::interrupted),
      "interrupted before " + name_of("trace.bin") + " gave a packet; no capture was written.");
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(interrupted_run_test, ctrl_c_before_the_first_byte_ends_a_live_run_that_got_nothing) {
  script({{"steps", {port_step, wait_step}}, {"start", stopped_start}});
  press_ctrl_c_at_opening();
  EXPECT_THAT(refusal_of([&] { run_live(); }, exit_code::nothing_decoded),
              StartsWith("nothing arrived on " + name_of("trace.bin")));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

// Which is what comes at a wrong baud rate.
TEST_F(interrupted_run_test, a_live_run_of_nothing_but_losses_writes_no_capture) {
  script({{"steps", {raw_step, packet_step("at", "Dropped traces count: 7"), wait_step}},
          {"start", stopped_start}});
  press_ctrl_c_at("at");
  EXPECT_THAT(refusal_of([&] { run_live(); }, exit_code::nothing_decoded),
              StartsWith("only reports of 7 dropped traces came out of 5 B received on "));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(interrupted_run_test, ctrl_c_is_how_a_live_run_ends) {
  script({{"steps", {packet_step("ip", "E"), wait_step}}, {"start", stopped_start}});
  press_ctrl_c_at("ip");
  EXPECT_EQ(run_live(), exit_code::ok);
  EXPECT_EQ(captured().size(), 1U);
  EXPECT_THAT(printed_, Not(HasSubstr("interrupted")));
}

TEST_F(interrupted_run_test, ctrl_c_before_the_first_sign_of_the_plug_in_is_not_lost) {
  script({{"steps", {{{"wait_for_file", name_of("go")}}, packet_step("ip", "E"), wait_step}},
          {"after_stop", {packet_step("at", "OK")}}});
  test_support::event_count limited;
  test_support::event_count stopped;
  scripted_sink capture;
  // On the ticker's thread, which could stop a run that hangs.
  display_.tick_handler = [&] {
    if (std::filesystem::exists(at("go"))) return;
    keyboard_.press_ctrl_c();
    while (capture.done().back() != "limit writes") std::this_thread::yield();
    directory_.write("go", "");
    stopped.take();
  };
  display_.packet_handler = [&](const packet& each) {
    if (each.layer == "at") stopped.add();
  };
  EXPECT_EQ(run_live({.capture = &capture}), exit_code::ok);
  EXPECT_THAT(capture.done(), AllOf(Contains("ip E"), Contains("at OK")));
}

// A reader that stalls must not hold up the end.
TEST_F(interrupted_run_test, ctrl_c_limits_writes) {
  script({{"steps", {packet_step("ip", "E"), wait_step}}, {"start", stopped_start}});
  scripted_sink capture;
  press_ctrl_c_at("ip");
  EXPECT_EQ(run_live({.capture = &capture}), exit_code::ok);
  EXPECT_THAT(capture.done(), Contains("limit writes"));
}

TEST_F(interrupted_run_test, what_the_plug_in_delivers_after_ctrl_c_is_kept) {
  script({{"steps", {packet_step("ip", "E"), wait_step}}, {"after_stop", {packet_step("at", "")}}});
  press_ctrl_c_at("ip");
  EXPECT_EQ(run_live(), exit_code::ok);
  EXPECT_EQ(captured().size(), 2U);
}

TEST_F(interrupted_run_test, a_second_ctrl_c_stops_a_run_at_once_that_delivers_what_it_has) {
  script({{"steps", {packet_step("ip", "E"), wait_step}},
          {"after_stop",
           {packet_step("nas-eps", "n"), {{"wait_for_stops", 2}}, packet_step("at", "OK")}}});
  test_support::event_count stopped;
  display_.packet_handler = [&](const packet& each) {
    each.layer == "at" ? stopped.add() : keyboard_.press_ctrl_c();
  };
  // So that the ticker, which stops a run that takes long, does not.
  bool is_first = true;
  display_.tick_handler = [&] {
    if (std::exchange(is_first, false)) stopped.take();
  };
  EXPECT_EQ(run_live(), exit_code::ok);
  EXPECT_EQ(captured().size(), 3U);
}

TEST_F(interrupted_run_test, a_run_that_delivers_what_it_has_for_long_is_stopped) {
  script({{"steps", {packet_step("ip", "E"), wait_step}},
          {"after_stop", {{{"wait_for_stops", 2}}}},
          {"start", stopped_start}});
  press_ctrl_c_at("ip");
  EXPECT_EQ(run_live(), exit_code::ok);
}

TEST_F(interrupted_run_test, a_live_run_that_was_stopped_before_all_was_delivered_fails) {
  script({{"steps", {packet_step("ip", "E"), wait_step}},
          {"start", stopped_early("5 received bytes and 2 decoded traces")}});
  press_ctrl_c_at("ip");
  EXPECT_THAT(
      refusal_of([&] { run_live(); }, exit_code::run_failed),
      AllOf(HasSubstr("5 received bytes and 2 decoded traces"), HasSubstr("is in the capture")));
  EXPECT_EQ(captured().size(), 1U);
}

TEST_F(interrupted_run_test, a_live_run_that_was_stopped_after_all_was_delivered_does_not_fail) {
  script({{"steps", {packet_step("ip", "E"), wait_step}},
          {"start", stopped_early("0 received bytes and 0 decoded traces")}});
  press_ctrl_c_at("ip");
  EXPECT_EQ(run_live(), exit_code::ok);
}

}  // namespace
}  // namespace veltra::host
