#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/commands/packet_sink.h"
#include "tests/support/captured_stdout.h"
#include "tests/unit/host/run/run_fixture.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class decode_test : public run_test {};

TEST_F(decode_test, packets_become_a_capture_beside_the_trace) {
  script({{"steps", {raw_step, packet_step("ip", "E"), packet_step("at", "OK")}}});
  EXPECT_EQ(decode(), exit_code::ok);
  EXPECT_THAT(names(), ElementsAre("trace.bin", "trace.pcapng"));
  const auto packets = captured("trace.pcapng");
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].data, "E");
}

TEST_F(decode_test, the_summary_is_all_that_is_printed) {
  script({{"logs", {"quiet"}}, {"steps", {raw_step, packet_step("ip", "E")}}});
  decode({"-o", name_of("out.pcapng")});
  EXPECT_THAT(printed_, StartsWith(name_of("out.pcapng") + ": 1 packet from 5 B of trace\n"));
  EXPECT_THAT(printed_, HasSubstr("database UUID         u-1\n"));
  EXPECT_THAT(printed_, AllOf(Not(HasSubstr("quiet")), Not(HasSubstr("\r"))));
}

TEST_F(decode_test, the_plug_ins_messages_are_shown_on_request_with_their_levels) {
  script({{"logs", {"what it does", failure_log("no sun"), failure_log("no sun")}},
          {"steps", {packet_step("ip", "E")}}});
  decode({"--verbose"});
  EXPECT_THAT(printed_,
              StartsWith("[2] what it does\n[5] no sun\n[5] no sun\n" + name_of("trace.pcapng")));
}

TEST_F(decode_test, what_is_in_a_trace_does_not_control_the_terminal) {
  script(
      {{"logs", {"found UID: \x1b[31mred\n\x7F \xC3\xA4"}}, {"steps", {packet_step("ip", "E")}}});
  decode({"--verbose"});
  EXPECT_THAT(printed_, StartsWith("[2] found UID: ?[31mred?? \xC3\xA4\n"));
}

TEST_F(decode_test, a_failure_that_was_passed_over_is_shown_once) {
  script({{"logs", {failure_log("no sun")}},
          {"steps", {raw_step, {{"log", failure_log("no sun")}}, packet_step("ip", "E")}}});
  EXPECT_EQ(decode(), exit_code::ok);
  EXPECT_THAT(printed_, StartsWith("veltra: note: no sun\n" + name_of("trace.pcapng")));
}

TEST_F(decode_test, what_was_passed_over_before_a_failure_is_shown_too) {
  script({{"logs", {failure_log("no sun"), failure_log("no sun")}},
          {"init", {{"result", 1}, {"message", "wrong weather"}, {"code", 1}}}});
  EXPECT_THAT(refusal_of([&] { decode(); }), HasSubstr("wrong weather"));
  EXPECT_EQ(printed_, "veltra: note: no sun\n");
}

TEST_F(decode_test, json_lines_have_their_own_name) {
  script({{"steps", {raw_step, packet_step("ip", "E")}}});
  EXPECT_EQ(decode({"--format", "jsonl"}), exit_code::ok);
  EXPECT_THAT(names(), ElementsAre("trace.bin", "trace.jsonl"));
  EXPECT_EQ(json::parse(content(at("trace.jsonl"))).at("payload"), "45");
}

TEST_F(decode_test, raw_packets_join_on_request) {
  script({{"steps", {raw_step, packet_step("ip", "E")}}});
  decode({"--format", "jsonl", "--raw-packets"});
  const std::string lines = content(at("trace.jsonl"));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
  decode({"--raw-packets"});
  EXPECT_EQ(captured("trace.pcapng").size(), 2U);
}

TEST_F(decode_test, metadata_are_refused_where_there_are_none) {
  script({{"steps", {raw_step, packet_step("ip", "E")}}});
  EXPECT_THAT(refusal_of(
                  [&] {
                    decode({"--metadata", "none"});
                  },
                  exit_code::usage),
              HasSubstr("--metadata is about JSON Lines"));
  EXPECT_EQ(decode({"--metadata", "none", "-f", "jsonl"}), exit_code::ok);
  EXPECT_THAT(content(at("trace.jsonl")), Not(HasSubstr("metadata")));
}

TEST_F(decode_test, standard_output_gets_the_capture_and_nothing_else) {
  script({{"steps", {packet_step("ip", "E")}}});
  test_support::captured_stdout stdout_bytes;
  decode({"-o", "-"});
  EXPECT_EQ(read_packets(stdout_bytes.end()).size(), 1U);
  EXPECT_THAT(printed_, StartsWith("standard output: 1 packet"));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(decode_test, remarks_on_the_capture_are_in_the_summary) {
  script({{"steps", {packet_step("ip", "E"), packet_step("session_master", "short")}}});
  decode();
  EXPECT_THAT(printed_,
              HasSubstr("remarks               1 TLS key trace of a wrong size (kept as "));
}

TEST_F(decode_test, an_existing_file_that_was_not_named_is_replaced_only_on_request) {
  script({{"steps", {packet_step("ip", "E")}}});
  directory_.write("trace.pcapng", "of another trace");
  EXPECT_EQ(refusal_of([&] { decode(); }, exit_code::usage),
            name_of("trace.pcapng") +
                " exists and may come from another trace; name the output with -o, or replace the "
                "file with --overwrite.");
  EXPECT_EQ(content(at("trace.pcapng")), "of another trace");
  EXPECT_EQ(decode({"--overwrite"}), exit_code::ok);
  EXPECT_EQ(captured("trace.pcapng").size(), 1U);
}

TEST_F(decode_test, an_existing_file_that_was_named_is_replaced) {
  script({{"steps", {packet_step("ip", "E")}}});
  directory_.write("trace.pcapng", "before");
  EXPECT_EQ(decode({"-o", name_of("trace.pcapng")}), exit_code::ok);
  EXPECT_EQ(captured("trace.pcapng").size(), 1U);
}

TEST_F(decode_test, a_file_of_the_cache_is_never_replaced) {
  std::filesystem::create_directory(at("cache"));
  directory_.write("cache/config.json", "{}");
  database_options database;
  database.cache = name_of("cache");
  EXPECT_THAT(refusal_of([&] { refuse_file_of_cache(name_of("cache/config.json"), database); },
                         exit_code::usage),
              HasSubstr("a file of the cache"));
  EXPECT_NO_THROW(refuse_file_of_cache(name_of("cache/out.pcapng"), database));
}

TEST_F(decode_test, an_input_is_never_replaced) {
  script({{"steps", {packet_step("ip", "E")}}});
  directory_.write("database.json", "{}");
  const std::string before = content(at("trace.bin"));
  const test_support::working_directory here(directory_.path());
  for (const std::string& input : {name_of("trace.bin"), std::string("database.json")}) {
    const auto replace_it = [&] { decode({"--overwrite", "-o", input}); };
    EXPECT_THAT(refusal_of(replace_it, exit_code::usage),
                HasSubstr("would replace the input " + input));
  }
  EXPECT_EQ(content(at("trace.bin")), before);
  EXPECT_EQ(content(at("database.json")), "{}");
}

TEST_F(decode_test, a_trace_and_a_database_must_be_named) {
  script({{"steps", {packet_step("ip", "E")}}});
  EXPECT_THAT(refusal_of(
                  [&] {
                    veltra({"decode", name_of("trace.bin")});
                  },
                  exit_code::usage),
              HasSubstr("there is nothing to decode with: name the trace database"));
  EXPECT_THAT(refusal_of(
                  [&] {
                    veltra({"decode", "-", "-d", "d.json"});
                  },
                  exit_code::usage),
              HasSubstr("name the capture with -o"));
}

TEST_F(decode_test, a_refused_init_leaves_an_earlier_capture_alone) {
  script({{"init", {{"result", 1}, {"message", "wrong weather"}, {"code", 1}}}});
  directory_.write("out.pcapng", "before");
  const auto work = [&] { decode({"-o", name_of("out.pcapng")}); };
  EXPECT_EQ(refusal_of(work), "the plug-in does not start: wrong weather; check the parameters.");
  EXPECT_EQ(content(at("out.pcapng")), "before");
  EXPECT_THAT(printed_, IsEmpty());
}

TEST_F(decode_test, a_run_that_fails_leaves_no_capture) {
  script({{"steps", {packet_step("ip", "E")}}, {"start", failed_start}});
  EXPECT_THAT(refusal_of([&] { decode(); }, exit_code::run_failed),
              AllOf(HasSubstr("trace.bin failed: device lost (code 100)"),
                    HasSubstr("no capture was written")));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(decode_test, a_trace_without_packets_gives_no_capture) {
  script({{"steps", {raw_step}}});
  EXPECT_THAT(refusal_of([&] { decode(); }, exit_code::nothing_decoded),
              AllOf(StartsWith("not one packet came out of "), HasSubstr("database.json"),
                    HasSubstr("u-1")));
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(decode_test, an_empty_trace_is_called_empty) {
  script(json::object());
  EXPECT_THAT(refusal_of([&] { decode(); }, exit_code::nothing_decoded), HasSubstr("is empty"));
}

TEST_F(decode_test, an_output_that_can_never_be_made_is_an_error_before_any_work) {
  script({{"logs", {failure_log("no sun")}}, {"steps", {packet_step("ip", "E")}}});
  const auto work = [&] { decode({"-o", name_of("no/out")}); };
  EXPECT_THAT(refusal_of(work, exit_code::output_failed), HasSubstr("no/out"));
  EXPECT_THAT(printed_, IsEmpty()) << "the plug-in was at work";
}

}  // namespace
}  // namespace veltra::host
