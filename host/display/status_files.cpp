#include "host/display/status_files.h"

#include <fmt/format.h>

#include <iterator>
#include <system_error>
#include <utility>

#include "base/atomic_file.h"
#include "host/display/live_status.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::chrono::seconds write_interval{5};

std::int64_t now_in_seconds() {
  return std::chrono::floor<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// A label's value: backslash, quotes and line feeds are escaped.
std::string label_value(std::string_view text) {
  std::string value;
  for (const char each : text) {
    if (each == '\\' || each == '"') value += '\\';
    if (each == '\n') {
      value += "\\n";
    } else {
      value += each;
    }
  }
  return value;
}

}  // namespace

std::string format_status_json(const status_report& report, const run_statistics& statistics) {
  using kovax::json;
  json packets = json::object();
  for (const auto& [kind, count] : count_kinds(statistics)) packets[std::string(kind)] = count;
  const char* const state = !report.is_running        ? "ended"
                            : report.facts.is_waiting ? "waiting"
                                                      : "recording";
  const json status = {{"port", report.port},
                       {"state", state},
                       {"begin", report.begin},
                       {"updated", report.updated},
                       {"bytes", statistics.raw_bytes()},
                       {"packets", statistics.decoded_packets()},
                       {"packets_by_kind", std::move(packets)},
                       {"dropped_traces", statistics.dropped_traces()},
                       {"missed_packets", report.facts.missed},
                       {"gaps", report.facts.gaps},
                       {"database_uuid", statistics.database_uuid()},
                       {"files", report.facts.files}};
  return status.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string format_status_metrics(const status_report& report, const run_statistics& statistics) {
  std::string text;
  const std::string port = fmt::format("port=\"{}\"", label_value(report.port));
  const auto out = std::back_inserter(text);
  const auto describe = [&](std::string_view name, std::string_view type, std::string_view help) {
    fmt::format_to(out, "# HELP veltra_capture_{0} {2}\n# TYPE veltra_capture_{0} {1}\n", name,
                   type, help);
  };
  const auto add = [&](std::string_view name, std::string_view type, std::string_view help,
                       auto value) {
    describe(name, type, help);
    fmt::format_to(out, "veltra_capture_{}{{{}}} {}\n", name, port, value);
  };
  add("up", "gauge", "1 while the port is read, 0 while it is waited for or after the end.",
      report.is_running && !report.facts.is_waiting ? 1 : 0);
  add("start_time_seconds", "gauge", "When the capture began, since 1970.", report.begin);
  add("update_time_seconds", "gauge", "When this was written, since 1970.", report.updated);
  add("received_bytes_total", "counter", "Bytes of trace received.", statistics.raw_bytes());
  describe("packets_total", "counter", "Packets decoded, by kind.");
  for (const auto& [kind, count] : count_kinds(statistics)) {
    fmt::format_to(out, "veltra_capture_packets_total{{{},kind=\"{}\"}} {}\n", port, kind, count);
  }
  add("dropped_traces_total", "counter", "Traces that the modem reports to have dropped.",
      statistics.dropped_traces());
  add("missed_packets_total", "counter", "Packets that an output was too slow for.",
      report.facts.missed);
  add("gaps_total", "counter", "Times without the port.", report.facts.gaps);
  return text;
}

status_files::status_files(std::string port, paths where, display& next)
    : paths_(std::move(where)), next_(next) {
  report_.port = std::move(port);
  report_.begin = now_in_seconds();
}

void status_files::take_packet(const packet& packet) {
  {
    const std::lock_guard lock(mutex_);
    statistics_.add(packet);
  }
  next_.take_packet(packet);
}

void status_files::take_facts(const run_facts& facts) {
  {
    const std::lock_guard lock(mutex_);
    report_.facts = facts;
  }
  next_.take_facts(facts);
}

void status_files::tick(time_point now) {
  if (now >= next_write_) {
    next_write_ = now + write_interval;
    write(true);
  }
  next_.tick(now);
}

void status_files::end() {
  write(false);
  next_.end();
}

void status_files::write(bool is_running) {
  std::string json;
  std::string metrics;
  {
    const std::lock_guard lock(mutex_);
    report_.is_running = is_running;
    report_.updated = now_in_seconds();
    json = format_status_json(report_, statistics_);
    metrics = format_status_metrics(report_, statistics_);
  }
  replace(paths_.json, json);
  replace(paths_.metrics, metrics);
}

void status_files::replace(const std::filesystem::path& path, const std::string& text) {
  if (path.empty()) return;
  atomic_file file;
  std::error_code error = file.open(path);
  if (!error) error = file.write(text);
  if (!error) error = file.commit();
  if (!error || std::exchange(is_failure_noted_, true)) return;
  next_.show_lines(
      fmt::format("veltra: note: cannot write the status {} ({}); the capture goes on.\n",
                  platform::path_to_utf8(path), error.message()));
}

}  // namespace veltra::host
