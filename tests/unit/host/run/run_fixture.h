// capture_run_fixture.h - whole runs of `veltra decode` on a plug-in that plays a script.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/run/capture_run.h"
#include "host/commands/command.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/console.h"
#include "platform/file.h"
#include "tests/support/keyboard.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/source/fake_plugin.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {

using kovax::json;

inline json packet_step(const char* layer, const std::string& text) {
  return {{"layer", layer},
          {"category", "network"},
          {"text", text},
          {"metadata",
           R"({"data_offset":1,"data_size":2,"modem_db_path":"/d","modem_db_uuid":"u-1"})"}};
}

inline const json raw_step = packet_step("modem_trace", "12345");
inline const json wait_step = {{"wait_for_stop", true}};
inline const json failed_start = {{"result", 100}, {"message", "device lost"}, {"code", 100}};

// A directory with a script where a trace would be.
class capture_run_test : public testing::Test {
 protected:
  std::filesystem::path at(const char* name) const { return directory_.path() / name; }
  std::string name_of(const char* name) const { return platform::path_to_utf8(at(name)); }
  std::vector<std::string> names() const { return names_in(directory_.path()); }

  void script(const json& text) { directory_.write("trace.bin", text.dump()); }

  // Runs `veltra decode` on the script and keeps what it prints on stderr.
  exit_code decode(std::vector<std::string> more) {
    std::vector<std::string> arguments = {"decode",     name_of("trace.bin"),
                                          "--database", "database.json",
                                          "--plugin",   platform::path_to_utf8(fake_plugin_file())};
    arguments.insert(arguments.end(), more.begin(), more.end());
    std::reverse(arguments.begin(), arguments.end());
    CLI::App app;
    command chosen;
    add_decode_command(app, chosen);
    app.parse(arguments);
    return printing([&] { return chosen(); });
  }

  // A run without the command line.
  capture_request request() const {
    capture_request made;
    made.parameters = {{"file_path", name_of("trace.bin")}};
    made.input = "the input";
    made.options.database.file = "database.json";
    made.options.output.file = name_of("out.pcapng");
    made.options.chunk_size = 1;
    made.options.plugin = platform::path_to_utf8(fake_plugin_file());
    return made;
  }

  exit_code run(capture_request made) {
    return printing([&] { return run_capture(std::move(made)); });
  }

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
  std::string printed_;
};

}  // namespace veltra::host
