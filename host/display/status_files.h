// status_files.h - the state of a capture for programs that watch it.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "host/display/display.h"
#include "host/source/run_statistics.h"

namespace veltra::host {

struct status_report {
  std::string port;
  std::int64_t begin = 0;    // seconds since 1970
  std::int64_t updated = 0;  // likewise
  bool is_running = true;
  run_facts facts;
};

// A JSON object (RFC 8259) in one line, ending in LF.
std::string format_status_json(const status_report& report, const run_statistics& statistics);

// The same as metrics in the text format of Prometheus, version 0.0.4.
std::string format_status_metrics(const status_report& report, const run_statistics& statistics);

// Writes both, each in one step, every few seconds and at the end, and hands everything on to
// another display. A file that cannot be written is reported once.
class status_files : public display {
 public:
  struct paths {
    std::filesystem::path json;     // empty: none
    std::filesystem::path metrics;  // likewise
  };

  // `next` must outlive the object.
  status_files(std::string port, paths where, display& next);

  void take_packet(const packet& packet) override;
  void take_event(const source_event& event) override { next_.take_event(event); }
  void take_facts(const run_facts& facts) override;
  void show_lines(std::string_view lines) override { next_.show_lines(lines); }
  void tick(time_point now) override;
  void end() override;

 private:
  void write(bool is_running);
  void replace(const std::filesystem::path& path, const std::string& text);

  const paths paths_;
  display& next_;
  time_point next_write_{};
  bool is_failure_noted_ = false;
  std::mutex mutex_;  // guards what follows
  status_report report_;
  run_statistics statistics_;
};

}  // namespace veltra::host
