#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "host/commands/commands.h"
#include "host/commands/explained_run.h"
#include "host/commands/packet_sink.h"
#include "host/database/provisioning.h"
#include "host/display/live_view.h"
#include "host/output/output_failure.h"
#include "host/output/raw_sink.h"
#include "host/output/same_file.h"
#include "host/run/run.h"
#include "host/run/sidecar.h"
#include "host/user_error.h"
#include "host/wireshark/start_wireshark.h"
#include "host/wireshark/wireshark_window.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

bool decodes(const capture_options& options) {
  return !options.run.database.file.empty() || !options.run.database.cache.empty();
}

void refuse_same_file(const std::string& output, const std::string& other, const char* what) {
  if (!is_same_file(platform::path_from_utf8(output), platform::path_from_utf8(other))) return;
  throw user_error(
      exit_code::usage,
      fmt::format("{} cannot be both an output and {}; give two names.", output, what));
}

void check(const capture_options& options) {
  if (!decodes(options) && !options.raw) {
    throw user_error(exit_code::usage,
                     "there is nothing to write: name the trace database with --database or "
                     "--cache to decode, or keep the raw trace with --raw.");
  }
  if (!decodes(options) && !options.run.output.file.empty()) {
    throw user_error(exit_code::usage,
                     fmt::format("{} cannot be written without a trace database: name it with "
                                 "--database or --cache, or leave -o out.",
                                 options.run.output.file));
  }
  if (options.wireshark && !decodes(options)) {
    throw user_error(exit_code::usage,
                     "Wireshark has nothing to show without a trace database: name it with "
                     "--database or --cache.");
  }
  if (options.wireshark) check_wireshark_output(options.run.output);
  const std::string raw = options.raw.value_or("");
  refuse_same_file(options.run.output.file, raw, "the raw trace");
  refuse_same_file(options.run.output.file, options.line.port, "the port");
  refuse_same_file(raw, options.line.port, "the port");
  refuse_same_file(options.run.output.file, options.run.database.file, "the trace database");
  refuse_same_file(raw, options.run.database.file, "the trace database");
  for (const std::string& output : {options.run.output.file, raw}) {
    refuse_file_of_cache(output, options.run.database);
  }
  if (!options.raw) refuse_time_base_without_effect(options.run);
}

// The sidecar's name follows from the raw trace's, so that nobody has named it.
void check_sidecar(const std::string& raw, const database_options& database) {
  const std::filesystem::path path = sidecar_path(platform::path_from_utf8(raw));
  const std::string name = platform::path_to_utf8(path);
  refuse_same_file(name, database.file, "the trace database");
  refuse_file_of_cache(name, database);
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored) || is_sidecar(path)) return;
  throw user_error(exit_code::usage,
                   fmt::format("{} is in the place of the raw trace's sidecar and something else; "
                               "give another name for the raw trace.",
                               name));
}

std::string default_name(const capture_options& options, const std::string& extension) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return name_without_file(default_capture_name(
      options.line.port, std::chrono::floor<std::chrono::seconds>(now).count(), extension));
}

}  // namespace

exit_code capture(capture_options options) {
  check(options);
  options.run.database = provision_for_search(options.run.database);
  output_options& output = options.run.output;
  const bool is_shown_live = options.wireshark && output.file.empty();
  const serial_input input(options.line);
  run_sinks sinks;

  std::optional<raw_sink> raw_trace;
  if (options.raw) {
    const std::string name = options.raw->empty() ? default_name(options, "trace") : *options.raw;
    sinks.raw_trace = &raw_trace.emplace(platform::path_from_utf8(name), output.overwrite);
    if (!raw_trace->is_stream()) check_sidecar(name, options.run.database);
  }
  std::unique_ptr<sink> packets;
  if (decodes(options)) {
    if (is_shown_live) {
      options.run.reader = reader_role::may_leave;
      packets = std::make_unique<wireshark_window>(
          pcapng_sink::settings{.with_raw_packets = output.raw_packets, .is_live = true});
    } else {
      if (output.file.empty()) output.file = default_name(options, output.format);
      check_output_place("cannot write", platform::path_from_utf8(output.file));
      packets = make_packet_sink(output, input);
    }
    sinks.capture = packets.get();
  }
  // Messages of the plug-in would tear the line of counters.
  const bool with_counters = platform::is_terminal(stderr) && !options.run.verbose;
  live_view view({.port = options.line.port, .with_counters = with_counters});
  const auto work = [&] { return run(input, options.run, sinks, view); };
  const bool has_trace = raw_trace && !raw_trace->is_stream();
  const exit_code result =
      has_trace ? explain_empty_run(raw_trace->name(), options.run.database, work) : work();
  if (options.wireshark && !is_shown_live) show_in_wireshark(packets->name());
  return result;
}

}  // namespace veltra::host
