#include "host/batch/batch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <stdexcept>

#include "host/batch/batch_display.h"
#include "implementation/json.h"
#include "tests/support/event_count.h"

namespace veltra::host {
namespace {

using kovax::json;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<listed_trace> traces_named(const std::vector<std::string>& names) {
  std::vector<listed_trace> traces;
  for (const std::string& name : names) traces.push_back({name, name + ".pcapng", 10});
  return traces;
}

batch_result result_of(exit_code code) {
  batch_result result;
  result.code = code;
  return result;
}

TEST(batch, every_trace_is_decoded_and_reported_once) {
  std::vector<std::string> names;
  for (int i = 0; i < 100; ++i) names.push_back(std::to_string(i));
  std::multiset<std::string> reported;
  const exit_code code = run_batch(
      traces_named(names), {.jobs = 3,
                            .decode = [](const listed_trace&) { return result_of(exit_code::ok); },
                            .report = [&](const listed_trace& trace,
                                          const batch_result&) { reported.insert(trace.input); }});
  EXPECT_EQ(code, exit_code::ok);
  EXPECT_EQ(reported, std::multiset<std::string>(names.begin(), names.end()));
}

TEST(batch, as_many_are_decoded_at_a_time_as_are_wanted) {
  test_support::event_count has_a_begun;
  test_support::event_count has_b_begun;
  const exit_code code = run_batch(traces_named({"a", "b"}),
                                   {.jobs = 2,
                                    .decode =
                                        [&](const listed_trace& trace) {
                                          const bool is_a = trace.input == "a";
                                          (is_a ? has_a_begun : has_b_begun).add();
                                          (is_a ? has_b_begun : has_a_begun).take();
                                          return result_of(exit_code::ok);
                                        },
                                    .report = [](const listed_trace&, const batch_result&) {}});
  EXPECT_EQ(code, exit_code::ok);
}

TEST(batch, a_failure_costs_no_other_trace_and_the_first_in_the_list_decides) {
  int reported = 0;
  const exit_code code =
      run_batch(traces_named({"a", "b", "c"}),
                {.jobs = 1,
                 .decode =
                     [](const listed_trace& trace) {
                       return result_of(trace.input == "a"   ? exit_code::ok
                                        : trace.input == "b" ? exit_code::nothing_decoded
                                                             : exit_code::bad_input);
                     },
                 .report = [&](const listed_trace&, const batch_result&) { ++reported; }});
  EXPECT_EQ(code, exit_code::nothing_decoded);
  EXPECT_EQ(reported, 3);
}

TEST(batch, a_stop_leaves_the_rest_and_is_an_interruption) {
  int reported = 0;
  const exit_code code =
      run_batch(traces_named({"a", "b", "c"}),
                {.jobs = 1,
                 .decode = [](const listed_trace& trace) -> std::optional<batch_result> {
                   if (trace.input != "a") return std::nullopt;
                   return result_of(exit_code::ok);
                 },
                 .report = [&](const listed_trace&, const batch_result&) { ++reported; }});
  EXPECT_EQ(code, exit_code::interrupted);
  EXPECT_EQ(reported, 1);
}

TEST(batch, what_a_report_throws_ends_the_batch) {
  std::atomic<int> decoded = 0;
  const auto run = [&] {
    run_batch(traces_named({"a", "b", "c"}),
              {.jobs = 1,
               .decode =
                   [&](const listed_trace&) {
                     ++decoded;
                     return result_of(exit_code::ok);
                   },
               .report = [](const listed_trace&,
                            const batch_result&) { throw std::runtime_error("full"); }});
  };
  EXPECT_THROW(run(), std::runtime_error);
  EXPECT_EQ(decoded, 1);
}

worker_processes::ending worker(const std::string& output, int code,
                                const std::string& diagnostics = {}, bool killed = false) {
  return {output, {.killed = killed, .exit_code = code, .diagnostics = diagnostics}};
}

TEST(batch_worker, its_summary_is_passed_on_with_a_line_for_people) {
  const std::string line =
      R"({"output":"o.pcapng","packets":1,"trace_bytes":1500,"dropped_traces":7,"seconds":0.25,"reason":""})"
      "\n";
  const batch_result result = read_worker(
      {"t.bin", "o.pcapng", 1}, worker(line, 0, "veltra: note: the trace names\no.pcapng: 1\n"));
  EXPECT_EQ(result.code, exit_code::ok);
  EXPECT_EQ(result.line, line);
  EXPECT_EQ(result.text, "t.bin: o.pcapng, 1 packet from 1.5 kB, 7 dropped traces, 0.25 s");
  EXPECT_EQ(result.notes, "veltra: note: t.bin: the trace names\n");
}

TEST(batch_worker, a_failure_is_its_reason) {
  const std::string line = R"({"exit_code":4,"reason":"t.bin is empty"})";
  const batch_result result =
      read_worker({"t.bin", "o", 1}, worker(line, 4, "veltra: t.bin is empty\n"));
  EXPECT_EQ(result.code, exit_code::nothing_decoded);
  EXPECT_EQ(result.text, "veltra: t.bin is empty");
}

TEST(batch_worker, one_that_was_killed_has_a_summary_all_the_same) {
  const batch_result result =
      read_worker({"t.bin", "o", 1}, worker("", 134, "contract broken\n", true));
  EXPECT_EQ(static_cast<int>(result.code), 134);
  const json line = json::parse(result.line);
  EXPECT_EQ(line.at("input"), "t.bin");
  EXPECT_EQ(line.at("exit_code"), 134);
  EXPECT_EQ(line.at("reason"), "its process was ended by signal 6: contract broken");
}

TEST(batch_worker, one_without_a_summary_has_failed) {
  EXPECT_EQ(read_worker({"t.bin", "o", 1}, worker("", 0)).code, exit_code::internal);
  const batch_result result = read_worker({"t.bin", "o", 1}, worker("", 2, "veltra: no\n"));
  EXPECT_EQ(result.code, exit_code::usage);
  EXPECT_EQ(json::parse(result.line).at("reason"), "no");
}

TEST(batch_progress, counts_bytes_and_traces) {
  EXPECT_THAT(format_batch_progress({.traces = 40, .bytes = 1000}, seconds(0)),
              StartsWith("[------------------------------]  0 of 40 traces"));
  EXPECT_EQ(format_batch_progress({.traces = 40,
                                   .bytes = 4'000'000,
                                   .done_traces = 12,
                                   .done_bytes = 1'000'000,
                                   .failed = 1},
                                  seconds(10)),
            "[#######-----------------------]  12 of 40 traces, 1 failed  100.0 kB/s  30 s left");
  EXPECT_THAT(format_batch_progress({.traces = 4, .bytes = 100, .done_traces = 1, .done_bytes = 1},
                                    seconds(60)),
              HasSubstr("99 min left"));
}

}  // namespace
}  // namespace veltra::host
