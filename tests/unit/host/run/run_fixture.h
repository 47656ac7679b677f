// run_fixture.h - whole runs with a plug-in that plays a script.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/commands/command_line.h"
#include "host/console.h"
#include "host/display/display.h"
#include "host/output/pcapng_sink.h"
#include "host/run/run.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/console.h"
#include "platform/file.h"
#include "tests/support/keyboard.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/refusal.h"
#include "tests/unit/host/source/fake_plugin.h"

namespace veltra::host {

using kovax::json;

inline json packet_step(const char* layer, const std::string& text, int times = 1) {
  return {{"layer", layer},
          {"category", "network"},
          {"text", text},
          {"times", times},
          {"metadata",
           R"({"data_offset":1,"data_size":2,"modem_db_path":"/d","modem_db_uuid":"u-1"})"}};
}

inline const json raw_step = packet_step("modem_trace", "12345");
inline const json wait_step = {{"wait_for_stops", 1}};
inline const json port_step = {{"log", "open port"}};
inline const json failed_start = {{"result", 100}, {"message", "device lost"}, {"code", 100}};
// How a run ends that was stopped while it waited for a serial port.
inline const json stopped_start = {{"result", 100}, {"message", "stop extracting"}, {"code", 100}};

inline json stopped_early(const std::string& counts) {
  return {{"result", 100},
          {"message", "stopped before the end: " + counts + " were not delivered"},
          {"code", 100}};
}

inline json failure_log(const std::string& message) {
  return {{"level", 5}, {"message", message}};
}

// Calls what a test wants to be called and keeps what it is to show.
class scripted_display : public display {
 public:
  std::function<void(const packet&)> packet_handler = [](const packet&) {};
  std::function<void(const source_event&)> event_handler = [](const source_event&) {};
  std::function<void()> tick_handler = [] {};
  std::function<void()> end_handler = [] {};

  void take_packet(const packet& packet) override { packet_handler(packet); }
  void take_event(const source_event& event) override { event_handler(event); }
  void show_lines(std::string_view lines) override {
    const std::lock_guard lock(mutex_);
    // As a display that has left the terminal.
    if (has_ended_) {
      print_message(lines);
    } else {
      lines_ += lines;
    }
  }
  void tick(time_point /*now*/) override { tick_handler(); }
  void end() override {
    end_handler();
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
  }

  std::string lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  mutable std::mutex mutex_;
  std::string lines_;
  bool has_ended_ = false;
};

// A directory with a script where a trace or a serial port would be.
class run_test : public testing::Test {
 protected:
  run_test() {
    options_.database.file = "database.json";
    options_.chunk_size = 1;
    options_.plugin = platform::path_to_utf8(fake_plugin_file());
  }

  std::filesystem::path at(const std::string& name) const { return directory_.path() / name; }
  std::string name_of(const std::string& name) const { return platform::path_to_utf8(at(name)); }
  std::vector<std::string> names() const { return names_in(directory_.path()); }

  void script(const json& text) { directory_.write("trace.bin", text.dump()); }

  // Runs a command line without the program's name.
  exit_code veltra(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "veltra");
    return printing([&] { return run_command_line(arguments); });
  }

  // Runs `veltra decode` on the script.
  exit_code decode(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {"decode",        name_of("trace.bin"), "--database",
                                          "database.json", "--plugin",           options_.plugin};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return veltra(arguments);
  }

  // Runs without the command line.
  exit_code run_with(const input& input, const run_sinks& sinks) {
    return printing([&] { return run(input, options_, sinks, display_); });
  }
  exit_code run_file(sink& capture) {
    return run_with(file_input(name_of("trace.bin")), {.capture = &capture});
  }
  exit_code run_file() {
    pcapng_sink capture(at("out.pcapng"), {});
    return run_file(capture);
  }
  exit_code run_live(const run_sinks& sinks) {
    return run_with(serial_input({.port = name_of("trace.bin")}), sinks);
  }
  exit_code run_live() {
    pcapng_sink capture(at("out.pcapng"), {.is_live = true});
    return run_live({.capture = &capture});
  }

  // At the first packet of `layer`; a step has to wait for the stop, since later the key
  // would end this program.
  void press_ctrl_c_at(const std::string& layer) {
    display_.packet_handler = [this, layer, is_pressed = false](const packet& each) mutable {
      if (each.layer == layer && !std::exchange(is_pressed, true)) keyboard_.press_ctrl_c();
    };
  }
  void press_ctrl_c_at_opening() {
    display_.event_handler = [this](const source_event& event) {
      if (event.kind == event_kind::port_opening) keyboard_.press_ctrl_c();
    };
  }

  // The packets of the capture.
  std::vector<captured_packet> captured(const std::string& name = "out.pcapng") const {
    return read_packets(content(at(name)));
  }

  // Keeps what `work` prints on stderr.
  template <typename Work>
  exit_code printing(Work&& work) {
    testing::internal::CaptureStderr();
    try {
      const exit_code code = work();
      printed_ = testing::internal::GetCapturedStderr();
      return code;
    } catch (...) {
      printed_ = testing::internal::GetCapturedStderr();
      throw;
    }
  }

  const platform::console_setup console_;  // as main() has it
  const test_support::keyboard keyboard_;
  test_support::temp_directory directory_;
  run_options options_;
  scripted_display display_;
  std::string printed_;
};

}  // namespace veltra::host
