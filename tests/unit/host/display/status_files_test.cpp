#include "host/display/status_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/display/live_status.h"
#include "implementation/json.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;
using time_point = std::chrono::steady_clock::time_point;

const std::vector<std::uint8_t> bytes(1000);

packet packet_of_layer(std::string_view layer) {
  packet made;
  made.layer = layer;
  made.payload = bytes;
  return made;
}

std::string status_content(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The text between the control sequences of a drawn line.
std::string drawn_text(const std::string& drawn) {
  const std::size_t begin = drawn.find("\x1b[K");
  const std::size_t end = drawn.rfind('\x1b');
  return begin == std::string::npos ? "" : drawn.substr(begin + 3, end - begin - 3);
}

TEST(live_status, fits_the_terminal_and_keeps_what_matters_most) {
  for (const unsigned columns : {30U, 40U, 60U, 80U, 100U, 200U}) {
    live_status status({.port = "line", .with_counters = true, .silence = 100h});
    status.begin(time_point(1h));
    for (int i = 0; i < 5000; ++i) {
      for (const char* layer : {"modem_trace", "ip", "lte_rrc.dl_dcch", "nas-eps", "at"}) {
        status.take(packet_of_layer(layer), time_point(1h));
      }
    }
    status.take_facts({.files = {"a_00001_20240501120000.trace"}}, columns);
    const std::string text = drawn_text(status.show(time_point(1h + 2s)));
    EXPECT_LT(text.size(), columns) << text;
    EXPECT_NE(text.find("5.0 MB"), std::string::npos) << text;
    EXPECT_NE(text.find("dropped 0"), std::string::npos) << text;
    EXPECT_EQ(text.find("a_00001_20240501120000.trace") != std::string::npos, columns == 200)
        << text;
  }
}

TEST(live_status, reports_the_start_and_every_minute_to_a_log) {
  live_status status({.port = "line",
                      .with_counters = false,
                      .report_start = "database d.json; files m.trace",
                      .silence = 100h});
  status.begin(time_point(1h));
  EXPECT_EQ(status.show(time_point(1h)), "");
  status.take(packet_of_layer("modem_trace"), time_point(1h));
  EXPECT_EQ(status.show(time_point(1h)),
            "veltra: line: recording; database d.json; files m.trace\n");
  status.take(packet_of_layer("ip"), time_point(1h));
  EXPECT_EQ(status.show(time_point(1h + 59s)), "");
  status.take_facts({.is_waiting = true, .missed = 3, .gaps = 2, .files = {"m_1.trace"}}, 0);
  EXPECT_EQ(status.show(time_point(1h + 60s)),
            "veltra: line: waiting  1.0 kB  17 B/s  ip 1  rrc 0  nas 0  at 0  tls 0  dropped 0  "
            "missed 3  gaps 2  m_1.trace\n");
  EXPECT_EQ(status.show(time_point(1h + 61s)), "");
}

// A port that is refused is not recorded, and one that is open may be silent.
TEST(live_status, reports_the_start_of_a_silent_port_when_its_opening_did_not_fail) {
  live_status status({.port = "line", .with_counters = false, .report_start = "files m.trace"});
  EXPECT_EQ(status.report_start(time_point(1h)), "");
  status.begin(time_point(1h));
  EXPECT_EQ(status.report_start(time_point(1h + 999ms)), "");
  EXPECT_EQ(status.report_start(time_point(1h + 1s)), "veltra: line: recording; files m.trace\n");
  EXPECT_EQ(status.report_start(time_point(1h + 2s)), "");
}

TEST(live_status, reports_the_start_of_a_wait) {
  live_status status({.port = "line", .with_counters = false, .report_start = "files m.trace"});
  status.begin(time_point(1h));
  status.take_facts({.is_waiting = true}, 0);
  EXPECT_EQ(status.show(time_point(1h + 1s)), "veltra: line: waiting; files m.trace\n");
}

TEST(status_json, has_what_a_watcher_asks_for) {
  run_statistics statistics;
  statistics.add(packet_of_layer("modem_trace"));
  statistics.add(packet_of_layer("ip"));
  const auto status = kovax::json::parse(format_status_json(
      {.port = "/dev/ttyUSB0", .begin = 5, .updated = 7, .facts = {.gaps = 2, .files = {"f"}}},
      statistics));
  EXPECT_EQ(status.at("port"), "/dev/ttyUSB0");
  EXPECT_EQ(status.at("state"), "recording");
  EXPECT_EQ(status.at("bytes"), 1000);
  EXPECT_EQ(status.at("packets_by_kind").at("ip"), 1);
  EXPECT_EQ(status.at("gaps"), 2);
  EXPECT_EQ(status.at("files"), kovax::json({"f"}));
}

TEST(status_metrics, are_in_the_text_format_with_the_port_as_a_label) {
  const std::string text =
      format_status_metrics({.port = "a\"b\\c", .facts = {.is_waiting = true}}, {});
  EXPECT_NE(text.find("# TYPE veltra_capture_received_bytes_total counter\n"
                      "veltra_capture_received_bytes_total{port=\"a\\\"b\\\\c\"} 0\n"),
            std::string::npos);
  EXPECT_NE(text.find("veltra_capture_up{port=\"a\\\"b\\\\c\"} 0\n"), std::string::npos);
  EXPECT_NE(text.find(",kind=\"rrc\"} 0\n"), std::string::npos);
}

struct recorded_display : display {
  void show_lines(std::string_view text) override { lines += text; }
  std::string lines;
};

TEST(status_files, are_written_at_once_every_few_seconds_and_at_the_end) {
  const test_support::temp_directory directory;
  const std::filesystem::path json = directory.path() / "status.json";
  recorded_display next;
  status_files status("line", {.json = json, .metrics = directory.path() / "none" / "m"}, next);
  status.tick(time_point(1h));
  EXPECT_EQ(kovax::json::parse(status_content(json)).at("bytes"), 0);
  status.take_packet(packet_of_layer("modem_trace"));
  status.tick(time_point(1h + 1s));
  EXPECT_EQ(kovax::json::parse(status_content(json)).at("bytes"), 0);
  status.tick(time_point(1h + 6s));
  EXPECT_EQ(kovax::json::parse(status_content(json)).at("bytes"), 1000);
  status.end();
  EXPECT_EQ(kovax::json::parse(status_content(json)).at("state"), "ended");
  EXPECT_EQ(std::count(next.lines.begin(), next.lines.end(), '\n'), 1) << next.lines;
}

}  // namespace
}  // namespace veltra::host
