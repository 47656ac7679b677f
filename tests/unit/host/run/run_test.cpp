#include "host/run/capture_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/user_error.h"
#include "platform/file.h"
#include "tests/support/captured_stdout.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/run/capture_run_fixture.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST_F(capture_run_test, packets_become_a_capture_beside_the_trace) {
  script({{"steps", {raw_step, packet_step("ip", "E"), packet_step("at", "OK")}}});
  EXPECT_EQ(decode({}), exit_code::ok);
  EXPECT_THAT(names(), ElementsAre("trace.bin", "trace.pcapng"));
  const auto packets = read_packets(content(at("trace.pcapng")));
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].data, "E");
}

TEST_F(capture_run_test, the_summary_is_all_that_is_printed) {
  script({{"logs", {"quiet"}}, {"steps", {raw_step, packet_step("ip", "E")}}});
  decode({"-o", name_of("out.pcapng")});
  EXPECT_THAT(printed_, StartsWith(name_of("out.pcapng") + ": 1 packet from 5 B of trace\n"));
  EXPECT_THAT(printed_, HasSubstr("database UUID         u-1\n"));
  EXPECT_THAT(printed_, AllOf(Not(HasSubstr("quiet")), Not(HasSubstr("\r"))));
}

TEST_F(capture_run_test, the_plug_ins_messages_are_shown_on_request) {
  script({{"logs", {"what it does"}}, {"steps", {packet_step("ip", "E")}}});
  decode({"--verbose"});
  EXPECT_THAT(printed_, StartsWith("[2] what it does\n"));
}

const json passed_over = {{"level", 5}, {"message", "no sun"}};

TEST_F(capture_run_test, a_failure_that_was_passed_over_is_no_secret) {
  script({{"logs", {passed_over}},
          {"steps", {raw_step, {{"log", passed_over}}, packet_step("ip", "E")}}});
  EXPECT_EQ(decode({}), exit_code::ok);
  EXPECT_THAT(printed_, StartsWith("veltra: note: no sun\n"
                                   "veltra: note, 1 more time: no sun\n" +
                                   name_of("trace.pcapng")));
}

TEST_F(capture_run_test, what_was_passed_over_before_a_failure_is_told_too) {
  script({{"logs", {passed_over, passed_over}},
          {"init", {{"result", 1}, {"message", "wrong weather"}, {"code", 1}}}});
  EXPECT_THAT(refusal_of([&] { decode({}); }), HasSubstr("wrong weather"));
  EXPECT_EQ(printed_, "veltra: note: no sun\nveltra: note, 1 more time: no sun\n");
}

TEST_F(capture_run_test, who_observes_shows_the_notes_until_the_summary) {
  script({{"logs", {passed_over}}, {"steps", {packet_step("ip", "E")}}});
  std::string told;
  capture_request made = request();
  made.tell = [&](std::string_view lines) { told += lines; };
  run(std::move(made));
  EXPECT_EQ(told, "veltra: note: no sun\n");
  EXPECT_THAT(printed_, StartsWith(name_of("out.pcapng")));
}

TEST_F(capture_run_test, json_lines_have_their_own_name) {
  script({{"steps", {raw_step, packet_step("ip", "E")}}});
  EXPECT_EQ(decode({"--format", "jsonl"}), exit_code::ok);
  EXPECT_THAT(names(), ElementsAre("trace.bin", "trace.jsonl"));
  EXPECT_EQ(json::parse(content(at("trace.jsonl"))).at("payload"), "45");
}

TEST_F(capture_run_test, raw_packets_join_json_lines_on_request) {
  script({{"steps", {raw_step, packet_step("ip", "E")}}});
  decode({"--format", "jsonl", "--raw-packets"});
  const std::string lines = content(at("trace.jsonl"));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
}

TEST_F(capture_run_test, raw_packets_join_a_capture_on_request) {
  script({{"steps", {raw_step, packet_step("ip", "E")}}});
  decode({"--raw-packets"});
  EXPECT_EQ(read_packets(content(at("trace.pcapng"))).size(), 2U);
}

TEST_F(capture_run_test, standard_output_gets_the_capture_and_nothing_else) {
  script({{"steps", {packet_step("ip", "E")}}});
  test_support::captured_stdout captured;
  decode({"-o", "-"});
  EXPECT_EQ(read_packets(captured.end()).size(), 1U);
  EXPECT_THAT(printed_, StartsWith("standard output: 1 packet"));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(capture_run_test, remarks_on_the_capture_are_in_the_summary) {
  script({{"steps", {packet_step("ip", "E"), packet_step("session_master", "short")}}});
  decode({});
  EXPECT_THAT(printed_,
              HasSubstr("remarks               1 TLS key trace of a wrong size (kept as "));
}

TEST_F(capture_run_test, a_file_of_the_cache_is_never_replaced) {
  std::filesystem::create_directory(at("cache"));
  directory_.write("cache/config.json", "{}");
  database_options database;
  database.cache = name_of("cache");
  EXPECT_THAT(refusal_of([&] { refuse_file_of_cache(name_of("cache/config.json"), database); },
                         exit_code::usage),
              HasSubstr("a file of the cache"));
  EXPECT_NO_THROW(refuse_file_of_cache(name_of("cache/out.pcapng"), database));
}

TEST_F(capture_run_test, an_input_is_never_replaced) {
  script({{"steps", {packet_step("ip", "E")}}});
  directory_.write("database.json", "{}");
  const std::string before = content(at("trace.bin"));
  EXPECT_THAT(refusal_of(
                  [&] {
                    decode({"-o", name_of("trace.bin")});
                  },
                  exit_code::usage),
              HasSubstr("would replace the input"));
  const test_support::working_directory here(directory_.path());
  EXPECT_THAT(refusal_of(
                  [&] {
                    decode({"-o", "database.json"});
                  },
                  exit_code::usage),
              HasSubstr("would replace the input database.json"));
  EXPECT_EQ(content(at("trace.bin")), before);
  EXPECT_EQ(content(at("database.json")), "{}");
}

TEST_F(capture_run_test, a_refused_init_leaves_an_earlier_capture_alone) {
  script({{"init", {{"result", 1}, {"message", "wrong weather"}, {"code", 1}}}});
  directory_.write("out.pcapng", "before");
  EXPECT_EQ(refusal_of([&] {
              decode({"-o", name_of("out.pcapng")});
            }),
            "the plug-in does not start: wrong weather; check the parameters.");
  EXPECT_EQ(content(at("out.pcapng")), "before");
  EXPECT_THAT(printed_, IsEmpty());
}

TEST_F(capture_run_test, a_run_that_fails_leaves_no_capture) {
  script({{"steps", {packet_step("ip", "E")}}, {"start", failed_start}});
  EXPECT_THAT(refusal_of([&] { decode({}); }, exit_code::run_failed),
              AllOf(HasSubstr("trace.bin failed: device lost (code 100)"),
                    HasSubstr("no capture was written")));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(capture_run_test, a_trace_without_packets_gives_no_capture) {
  script({{"steps", {raw_step}}});
  EXPECT_THAT(refusal_of([&] { decode({}); }, exit_code::nothing_decoded),
              AllOf(StartsWith("not one packet came out of "), HasSubstr("database.json"),
                    HasSubstr("u-1")));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(capture_run_test, an_empty_trace_is_told_so) {
  script(json::object());
  EXPECT_THAT(refusal_of([&] { decode({}); }, exit_code::nothing_decoded), HasSubstr("is empty"));
}

TEST_F(capture_run_test, an_output_that_cannot_be_made_is_an_error) {
  script({{"steps", {packet_step("ip", "E")}}});
  EXPECT_THAT(refusal_of(
                  [&] {
                    decode({"-o", name_of("no/out")});
                  },
                  exit_code::output_failed),
              HasSubstr("no/out"));
}

TEST_F(capture_run_test, an_output_that_can_never_be_made_is_an_error_before_any_work) {
  script({{"logs", {passed_over}}, {"steps", {packet_step("ip", "E")}}});
  refusal_of([&] { decode({"-o", name_of("no/out")}); }, exit_code::output_failed);
  EXPECT_THAT(printed_, IsEmpty()) << "the plug-in was at work";
}

TEST_F(capture_run_test, a_name_that_is_not_utf_8_is_refused) {
  capture_request made = request();
  made.parameters["file_path"] = "\xff";
  EXPECT_THAT(refusal_of([&] { run(made); }), HasSubstr("not UTF-8"));
}

TEST_F(capture_run_test, every_packet_is_observed) {
  script({{"steps", {raw_step, packet_step("ip", "E"), packet_step("at", "OK")}}});
  std::vector<std::string> layers;
  capture_request made = request();
  made.observe = [&](const packet& each) { layers.emplace_back(each.layer); };
  EXPECT_EQ(run(made), exit_code::ok);
  EXPECT_THAT(layers, ElementsAre("modem_trace", "ip", "at"));
}

TEST_F(capture_run_test, ctrl_c_leaves_a_whole_capture_of_what_came_before) {
  script({{"steps", {packet_step("ip", "E"), wait_step, packet_step("at", "OK")}}});
  capture_request made = request();
  made.observe = [this](const packet&) { keyboard_.press_ctrl_c(); };
  EXPECT_EQ(run(made), exit_code::interrupted);
  EXPECT_EQ(read_packets(content(at("out.pcapng"))).size(), 1U);
  EXPECT_THAT(printed_, HasSubstr("interrupted before its end"));
}

TEST_F(capture_run_test, ctrl_c_before_the_first_packet_is_told_so) {
  script({{"steps", {raw_step, wait_step, packet_step("at", "OK")}}});
  capture_request made = request();
  made.observe = [this](const packet&) { keyboard_.press_ctrl_c(); };
  EXPECT_EQ(refusal_of([&] { run(made); }, exit_code::interrupted),
            "interrupted before the input gave a packet; no capture was written.");
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(capture_run_test, ctrl_c_before_the_first_byte_ends_a_live_run_that_got_nothing) {
  script({{"steps", {{{"log", "open port"}}, wait_step}}, {"start", failed_start}});
  capture_request made = request();
  made.live = true;
  made.observe_log = [this](std::string_view) { keyboard_.press_ctrl_c(); };
  made.explain_nothing = [](const run_statistics&) {
    return user_error(exit_code::nothing_decoded, "nothing arrived");
  };
  EXPECT_EQ(refusal_of([&] { run(made); }, exit_code::nothing_decoded), "nothing arrived");
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

// Which is what comes at a wrong baud rate.
TEST_F(capture_run_test, a_live_run_of_nothing_but_losses_writes_no_capture) {
  script({{"steps", {packet_step("at", "Dropped traces count: 7"), wait_step}},
          {"start", failed_start}});
  capture_request made = request();
  made.live = true;
  made.observe = [this](const packet&) { keyboard_.press_ctrl_c(); };
  made.explain_nothing = [](const run_statistics& statistics) {
    EXPECT_EQ(statistics.dropped_traces(), 7U);
    return user_error(exit_code::nothing_decoded, "noise");
  };
  EXPECT_EQ(refusal_of([&] { run(made); }, exit_code::nothing_decoded), "noise");
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(capture_run_test, ctrl_c_is_how_a_live_run_ends) {
  script({{"steps", {packet_step("ip", "E"), wait_step}}, {"start", failed_start}});
  capture_request made = request();
  made.live = true;
  made.observe = [this](const packet&) { keyboard_.press_ctrl_c(); };
  EXPECT_EQ(run(made), exit_code::ok);
  EXPECT_EQ(read_packets(content(at("out.pcapng"))).size(), 1U);
  EXPECT_THAT(printed_, Not(HasSubstr("interrupted")));
}

TEST_F(capture_run_test, ctrl_c_is_told_to_who_may_hold_up_the_run) {
  script({{"steps", {packet_step("ip", "E"), wait_step}}, {"start", failed_start}});
  bool hurried = false;  // read when the thread that wrote it has ended
  capture_request made = request();
  made.live = true;
  made.observe = [this](const packet&) { keyboard_.press_ctrl_c(); };
  made.hurry = [&hurried] { hurried = true; };
  EXPECT_EQ(run(made), exit_code::ok);
  EXPECT_TRUE(hurried);
}

TEST_F(capture_run_test, a_live_run_that_fails_keeps_what_came_before) {
  script({{"steps", {packet_step("ip", "E")}}, {"start", failed_start}});
  capture_request made = request();
  made.live = true;
  EXPECT_THAT(refusal_of([&] { run(made); }, exit_code::run_failed),
              AllOf(HasSubstr("device lost"), HasSubstr("is in the capture")));
  EXPECT_EQ(read_packets(content(at("out.pcapng"))).size(), 1U);
}

TEST_F(capture_run_test, a_live_run_whose_name_is_taken_meanwhile_leaves_the_capture_beside_it) {
  script({{"steps", {packet_step("ip", "E")}}});
  capture_request made = request();
  made.live = true;
  made.observe = [this](const packet&) { std::filesystem::create_directory(at("out.pcapng")); };
  EXPECT_THAT(refusal_of([&] { run(made); }, exit_code::output_failed), HasSubstr("out.pcapng"));
  ASSERT_EQ(names().size(), 3U);
  const std::string left = names()[1];
  EXPECT_THAT(left, AllOf(StartsWith("out.pcapng."), EndsWith(".part")));
  EXPECT_THAT(printed_, StartsWith(name_of(left.c_str())));
  EXPECT_THAT(printed_, Not(HasSubstr("missing")));
  EXPECT_EQ(read_packets(content(at(left.c_str()))).size(), 1U);
}

TEST_F(capture_run_test, the_line_on_the_terminal_goes_before_the_summary_comes) {
  script({{"steps", {packet_step("ip", "E")}}});
  struct line {
    ~line() { std::fputs("wiped ", stderr); }
  };
  capture_request made = request();
  made.observe = [held = std::make_shared<line>()](const packet&) {};
  run(std::move(made));
  EXPECT_THAT(printed_, StartsWith("wiped " + name_of("out.pcapng")));
}

}  // namespace
}  // namespace veltra::host
