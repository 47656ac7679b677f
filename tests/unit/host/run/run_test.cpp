#include "host/run/run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "host/output/raw_sink.h"
#include "host/run/outlet.h"
#include "tests/support/event_count.h"
#include "tests/unit/host/run/run_fixture.h"
#include "tests/unit/host/run/scripted_sink.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Fails in its first packet.
class failing_sink : public scripted_sink {
 public:
  failing_sink() {
    writing = [this](const packet&) {
      failing.add();
      throw user_error(exit_code::output_failed, "the disk is full");
    };
  }

  test_support::event_count failing;
};

TEST_F(run_test, every_packet_and_event_is_displayed) {
  script({{"steps", {port_step, raw_step, packet_step("ip", "E"), packet_step("at", "OK")}}});
  std::vector<std::string> seen;
  display_.packet_handler = [&](const packet& each) { seen.emplace_back(each.layer); };
  display_.event_handler = [&](const source_event& event) {
    if (event.kind == event_kind::port_opening) seen.emplace_back("open");
  };
  EXPECT_EQ(run_live(), exit_code::ok);
  EXPECT_THAT(seen, ElementsAre("open", "modem_trace", "ip", "at"));
}

TEST_F(run_test, the_display_leaves_the_terminal_before_the_summary_comes) {
  script({{"steps", {packet_step("ip", "E")}}});
  display_.end_handler = [] { std::fputs("wiped ", stderr); };
  run_file();
  EXPECT_THAT(printed_, StartsWith("wiped " + name_of("out.pcapng")));
}

TEST_F(run_test, a_name_that_is_not_utf_8_is_refused) {
  options_.database.file = "\xff";
  EXPECT_THAT(refusal_of([&] { run_file(); }), HasSubstr("not UTF-8"));
}

TEST_F(run_test, more_failures_than_a_person_reads_are_not_shown) {
  json logs = json::array();
  for (int i = 0; i < 60; ++i) logs.push_back(failure_log(std::to_string(i)));
  script({{"logs", logs}, {"steps", {packet_step("ip", "E")}}});
  run_file();
  EXPECT_THAT(display_.lines(),
              EndsWith("veltra: note: 48\nveltra: note: 49\n"
                       "veltra: note: more failures; --verbose shows all messages.\n"));
}

TEST_F(run_test, a_failure_of_the_cache_is_explained) {
  options_.database = {};
  options_.database.cache = "cache";
  options_.database.locations = {"http://a", "http://b"};
  script({{"logs", {failure_log("Failed to download config.json. Reason: refused")}},
          {"init", {{"result", 1}, {"message", "wrong weather"}, {"code", 1}}}});
  refusal_of([&] { run_file(); });
  EXPECT_EQ(display_.lines(),
            "veltra: note: the catalogue could not be fetched from http://a (refused); "
            "trying the next location.\n");
}

TEST_F(run_test, what_the_thread_that_stops_the_run_causes_concerns_nobody) {
  script({{"steps", {packet_step("ip", "E"), wait_step}}, {"stop_log", failure_log("no sun")}});
  press_ctrl_c_at("ip");
  bool is_displayed = false;
  display_.event_handler = [&](const source_event&) { is_displayed = true; };
  run_live();
  EXPECT_THAT(display_.lines(), IsEmpty());
  EXPECT_FALSE(is_displayed);
}

// --- outputs
// --------------------------------------------------------------------------------------

TEST_F(run_test, a_live_run_that_fails_keeps_what_came_before) {
  script({{"steps", {packet_step("ip", "E")}}, {"start", failed_start}});
  EXPECT_THAT(refusal_of([&] { run_live(); }, exit_code::run_failed),
              AllOf(HasSubstr("device lost"), HasSubstr("is in the capture")));
  EXPECT_EQ(captured().size(), 1U);
}

TEST_F(run_test, a_live_run_whose_name_is_taken_meanwhile_leaves_the_capture_beside_it) {
  script({{"steps", {packet_step("ip", "E")}}});
  display_.packet_handler = [this](const packet&) {
    std::filesystem::create_directory(at("out.pcapng"));
  };
  EXPECT_THAT(refusal_of([&] { run_live(); }, exit_code::output_failed), HasSubstr("out.pcapng"));
  ASSERT_EQ(names().size(), 3U);
  const std::string left = names()[1];
  EXPECT_THAT(left, AllOf(StartsWith("out.pcapng."), EndsWith(".part")));
  EXPECT_THAT(printed_, StartsWith(name_of(left)));
  EXPECT_THAT(printed_, Not(HasSubstr("missing")));
  EXPECT_EQ(captured(left).size(), 1U);
}

TEST_F(run_test, raw_bytes_are_in_the_raw_trace_before_anything_else_sees_them) {
  script({{"steps", {raw_step, packet_step("ip", "E"), packet_step("modem_trace", "67")}}});
  std::string expected;
  display_.packet_handler = [&](const packet& each) {
    if (is_raw(each)) expected.append(each.payload.begin(), each.payload.end());
    EXPECT_EQ(content(at("raw")), expected);
  };
  scripted_sink capture;
  std::string seen_by_capture;
  capture.writing = [&](const packet& each) {
    if (is_raw(each)) seen_by_capture.append(each.payload.begin(), each.payload.end());
    EXPECT_THAT(content(at("raw")), StartsWith(seen_by_capture));
  };
  raw_sink raw(at("raw"));
  EXPECT_EQ(run_live({&raw, &capture}), exit_code::ok);
  EXPECT_EQ(seen_by_capture, "1234567");
  EXPECT_THAT(printed_, HasSubstr("\n" + name_of("raw") + ": 7 B of raw trace\n"));
}

TEST_F(run_test, a_raw_trace_needs_no_capture) {
  script({{"steps", {raw_step, raw_step}}});
  {
    raw_sink raw(at("raw"));
    EXPECT_EQ(run_live({.raw_trace = &raw, .raw_file = at("raw")}), exit_code::ok);
    EXPECT_EQ(printed_, name_of("raw") + ": 10 B of raw trace\n");
  }
  script(json::object());
  raw_sink none(at("none"));
  EXPECT_THAT(refusal_of([&] { run_live({.raw_trace = &none}); }, exit_code::nothing_decoded),
              StartsWith("nothing arrived on "));
  EXPECT_THAT(names(), ElementsAre("raw", "raw.json", "trace.bin"));
}

TEST_F(run_test, a_capture_that_fails_does_not_end_the_recording) {
  script({{"steps", {packet_step("ip", "E"), raw_step, raw_step}}});
  failing_sink capture;
  test_support::event_count ticked;
  display_.tick_handler = [&] { ticked.add(); };
  display_.packet_handler = [&](const packet& each) {
    if (is_raw(each)) return;
    capture.failing.take();
    for (int i = 0; i < 3; ++i) ticked.take();  // the ticker sees the failure
  };
  raw_sink raw(at("raw"));
  EXPECT_EQ(refusal_of(
                [&] {
                  run_live({&raw, &capture});
                },
                exit_code::output_failed),
            "the disk is full");
  EXPECT_EQ(content(at("raw")), "1234512345");
  EXPECT_THAT(capture.done(), ElementsAre("begin", "salvage"));
  EXPECT_THAT(printed_, AllOf(HasSubstr("the sink: "), HasSubstr("10 B of raw trace\n")));
}

TEST_F(run_test, a_raw_trace_that_fails_does_not_end_the_capture) {
  script({{"steps", {raw_step, packet_step("ip", "E"), packet_step("at", "OK")}}});
  raw_sink raw(at("raw"));
  directory_.write("raw", "of somebody else");
  test_support::event_count ticked;
  display_.tick_handler = [&] { ticked.add(); };
  display_.packet_handler = [&](const packet& each) {
    for (int i = 0; i < 2 && is_raw(each); ++i) ticked.take();
  };
  pcapng_sink capture(at("out.pcapng"), {.is_live = true});
  EXPECT_THAT(refusal_of(
                  [&] {
                    run_live({&raw, &capture});
                  },
                  exit_code::output_failed),
              StartsWith("cannot write the raw trace " + name_of("raw")));
  EXPECT_EQ(captured().size(), 2U);
  EXPECT_EQ(content(at("raw")), "of somebody else");
  EXPECT_THAT(printed_, Not(HasSubstr("raw trace")));
}

TEST_F(run_test, a_run_ends_when_no_output_is_left) {
  // A file never stands still, and its packets are handed over many at a time.
  const json many = {{"times", 10000}, {"layer", "ip"}, {"text", "E"}};
  script({{"steps", {raw_step, many, wait_step}}, {"start", stopped_start}});
  failing_sink of_file;
  EXPECT_EQ(refusal_of([&] { run_file(of_file); }, exit_code::output_failed), "the disk is full");
  EXPECT_THAT(of_file.done(), ElementsAre("begin"));
  failing_sink of_live_run;
  EXPECT_EQ(refusal_of([&] { run_live({.capture = &of_live_run}); }, exit_code::output_failed),
            "the disk is full");
  failing_sink beside_raw_trace;
  raw_sink raw(at("raw"));
  directory_.write("raw", "of somebody else");
  EXPECT_EQ(refusal_of(
                [&] {
                  run_live({&raw, &beside_raw_trace});
                },
                exit_code::output_failed),
            "cannot write the raw trace " + name_of("raw") +
                ": File exists; give another place with room and write permission.");
  EXPECT_THAT(printed_, EndsWith("veltra: the disk is full\n")) << "none is kept secret";
}

TEST_F(run_test, what_a_stop_for_want_of_outputs_leaves_undelivered_is_not_the_failure) {
  script({{"steps", {packet_step("ip", "E"), wait_step}},
          {"start", stopped_early("5 received bytes and 2 decoded traces")}});
  failing_sink capture;
  EXPECT_EQ(refusal_of([&] { run_live({.capture = &capture}); }, exit_code::output_failed),
            "the disk is full");
}

TEST_F(run_test, packets_that_a_slow_reader_missed_are_counted_in_the_summary) {
  constexpr int packets = 700;
  static_assert(packets * 100'000 > outlet::max_bytes_dropping);
  script({{"steps",
           {packet_step("ip", "E"), packet_step("ip", std::string(100'000, 'E'), packets),
            packet_step("at", "OK")}}});
  scripted_sink capture;
  test_support::event_count entered;
  test_support::event_count released;
  capture.writing = [&, is_first = true](const packet&) mutable {
    if (!std::exchange(is_first, false)) return;
    entered.add();
    released.take();
  };
  display_.packet_handler = [&, is_first = true](const packet& each) mutable {
    if (std::exchange(is_first, false)) entered.take();
    if (each.layer == "at") released.add();
  };
  EXPECT_EQ(run_live({.capture = &capture}), exit_code::ok);
  EXPECT_THAT(capture.done(), Contains(StartsWith("missed ")));
  EXPECT_THAT(printed_, HasSubstr(" packets missed: the reader was too slow\n"));
}

// --- decoding that stops
// --------------------------------------------------------------------------

const json decoding_stops = {{"log", failure_log("decoding stopped: bad trace")}};

TEST_F(run_test, a_run_ends_when_its_decoding_stops) {
  script({{"steps", {raw_step, packet_step("ip", "E"), decoding_stops, wait_step}},
          {"start", stopped_start}});
  EXPECT_EQ(refusal_of([&] { run_live(); }, exit_code::run_failed),
            "reading " + name_of("trace.bin") +
                " failed: bad trace (code 100); what came before is in the capture.");
  EXPECT_EQ(captured().size(), 1U);
  EXPECT_EQ(display_.lines(), "");
}

TEST_F(run_test, a_raw_trace_goes_on_when_the_decoding_stops) {
  script({{"steps", {raw_step, packet_step("ip", "E"), decoding_stops, raw_step}}});
  raw_sink raw(at("raw"));
  scripted_sink capture;
  EXPECT_THAT(refusal_of(
                  [&] {
                    run_live({&raw, &capture});
                  },
                  exit_code::run_failed),
              HasSubstr("failed: bad trace"));
  EXPECT_EQ(content(at("raw")), "1234512345");
  EXPECT_THAT(capture.done(), AllOf(Contains("ip E"), Contains("finish")));
  EXPECT_EQ(display_.lines(),
            "veltra: note: decoding stopped (bad trace); the raw trace goes on.\n");
}

TEST_F(run_test, a_run_ends_when_its_decoding_stops_after_its_raw_trace_failed) {
  script({{"steps", {raw_step, decoding_stops, wait_step}}, {"start", stopped_start}});
  raw_sink raw(at("raw"));
  directory_.write("raw", "of somebody else");
  scripted_sink capture;
  EXPECT_THAT(refusal_of(
                  [&] {
                    run_live({&raw, &capture});
                  },
                  exit_code::run_failed),
              HasSubstr("failed: bad trace"));
}

}  // namespace
}  // namespace veltra::host
