#include "host/wireshark/extcap_capture.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "host/database/provisioning.h"
#include "host/output/pcapng_sink.h"
#include "host/output/raw_sink.h"
#include "host/run/input.h"
#include "host/run/run.h"
#include "host/user_error.h"
#include "host/wireshark/toolbar_view.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

void check(const extcap_capture_options& options) {
  if (options.line.port.empty()) {
    throw user_error(exit_code::usage,
                     "there is no port to capture from: name it in the interface's options, such "
                     "as /dev/ttyUSB0 or COM3.");
  }
  const database_options& database = options.run.database;
  if (database.file.empty() && database.cache.empty()) {
    throw user_error(exit_code::usage,
                     "there is nothing to decode with: name the trace database, or a cache of "
                     "databases, in the interface's options.");
  }
}

std::filesystem::path raw_trace_path(const extcap_capture_options& options) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const std::string name = default_capture_name(
      options.line.port, std::chrono::floor<std::chrono::seconds>(now).count(), "trace");
  const std::filesystem::path path = platform::path_from_utf8(options.raw_directory) / name;
  return platform::path_from_utf8(name_without_file(platform::path_to_utf8(path)));
}

}  // namespace

void open_pipes(const std::string& fifo, const std::string& control_in) {
  static std::FILE* toolbar = nullptr;
  static std::FILE* capture = nullptr;
  if (toolbar == nullptr && !control_in.empty()) {
    toolbar = platform::open_pipe_for_reading(platform::path_from_utf8(control_in));
  }
  const std::filesystem::path path = platform::path_from_utf8(fifo);
  std::error_code ignored;
  // Of a pipe of Windows there is one end to open, which is the capture's.
  if (capture == nullptr && std::filesystem::is_fifo(path, ignored)) {
    capture = platform::open_file(path, platform::open_mode::write);
  }
}

exit_code capture_for_wireshark(const extcap_capture_options& options) {
  check(options);
  pcapng_sink packets(platform::path_from_utf8(options.fifo), {.is_live = true});
  std::optional<raw_sink> raw_trace;
  std::filesystem::path raw_file;
  if (!options.raw_directory.empty()) {
    raw_file = raw_trace_path(options);
    raw_trace.emplace(raw_file);
  }
  run_options how = options.run;
  how.database = provision_for_search(how.database);
  how.reader = reader_role::ends_run;
  const serial_input input(options.line);
  toolbar_view view(options.line.port, platform::path_from_utf8(options.control_out));
  return run(
      input, how,
      {.raw_trace = raw_trace ? &*raw_trace : nullptr, .capture = &packets, .raw_file = raw_file},
      view);
}

}  // namespace veltra::host
