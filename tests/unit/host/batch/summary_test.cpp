// The lines about runs, and the files in which they are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/batch/summary_file.h"
#include "host/batch/summary_line.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using kovax::json;

TEST(summary_line, has_what_became_of_a_run) {
  const test_support::temp_directory directory;
  directory.write("out", "abc");
  run_report report{.statistics = {},
                    .stream_uuid = "u-1",
                    .output = platform::path_to_utf8(directory.path() / "out"),
                    .packets = 2,
                    .output_bytes = 3,
                    .first_time = 20'000'000,
                    .last_time = 1'000'000'000,
                    .seconds = 0.5};
  report.statistics.add(packet_of("ip", "E"));
  report.statistics.add(packet_of("at", "Dropped traces count: 7"));
  const std::string line = format_summary_line("trace.bin", {exit_code::losses, "lost"}, report);
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  EXPECT_EQ(json::parse(line),
            json::parse(R"({"input":"trace.bin","exit_code":8,"reason":"lost","packets":2,
  "packets_by_layer":{"at":1,"ip":1},"tls_keys":0,"dropped_traces":7,"damaged_frames":0,
  "missed_packets":0,"gaps":0,"trace_uuid":"u-1","database_uuid":"",
  "first_time":"1970-01-01T00:00:00.020000000Z","last_time":"1970-01-01T00:00:01.000000000Z",
  "seconds":0.5,"trace_bytes":0,"output_bytes":3,
  "output_sha256":"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
  "output":")" + json(report.output).dump().substr(1) +
                        "}"));
}

TEST(summary_line, what_there_is_not_is_empty) {
  const json line = json::parse(format_summary_line("\xff", {exit_code::bad_input, "no file"}, {}));
  EXPECT_EQ(line.at("input"), "\xef\xbf\xbd");
  EXPECT_EQ(line.at("output"), "");
  EXPECT_EQ(line.at("output_sha256"), "");
  EXPECT_TRUE(line.at("first_time").is_null());
  EXPECT_EQ(line.at("packets_by_layer"), json::object());
}

class summary_file_test : public testing::Test {
 protected:
  std::string name() const { return platform::path_to_utf8(directory_.path() / "all.jsonl"); }
  std::string text() const { return content(directory_.path() / "all.jsonl"); }

  test_support::temp_directory directory_;
};

TEST_F(summary_file_test, lines_are_added_to_those_that_are_there_and_readable_at_once) {
  summary_file(name()).write("1\n");
  summary_file again(name());
  again.write("2\n");
  EXPECT_EQ(text(), "1\n2\n");
  summary_file beside(name());
  beside.write("3\n");
  again.write("4\n");
  EXPECT_EQ(text(), "1\n2\n3\n4\n");
}

TEST_F(summary_file_test, a_line_that_a_killed_process_began_stays_apart) {
  directory_.write("all.jsonl", "1\n{\"inp");
  summary_file(name()).write("2\n");
  EXPECT_EQ(text(), "1\n{\"inp\n2\n");
}

TEST_F(summary_file_test, a_file_that_cannot_be_opened_is_a_failure_of_the_output) {
  EXPECT_THAT(refusal_of([&] { summary_file(name() + "/in"); }, exit_code::output_failed),
              testing::HasSubstr("cannot write"));
}

}  // namespace
}  // namespace veltra::host
