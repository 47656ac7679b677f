#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/run/capture_run.h"
#include "host/run/plugin_failure.h"
#include "host/display/summary.h"
#include "host/commands/command.h"
#include "host/console.h"
#include "host/run/line_options.h"
#include "host/display/live_monitor.h"
#include "host/run/port_failure.h"
#include "host/output/raw_recorder.h"
#include "host/commands/name_option.h"
#include "host/output/output_failure.h"
#include "host/output/same_file.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

struct capture_options {
  line_options line;
  run_options run;
  std::string raw;  // file; empty: none
};

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
  if (!decodes(options) && options.raw.empty()) {
    throw user_error(exit_code::usage,
                     "there is nothing to write: name the trace database with --database or "
                     "--cache to decode, or a file with --raw to keep the raw trace.");
  }
  if (!decodes(options) && !options.run.output.file.empty()) {
    throw user_error(exit_code::usage,
                     fmt::format("{} cannot be written without a trace database: name it with "
                                 "--database or --cache, or leave -o out.",
                                 options.run.output.file));
  }
  refuse_same_file(options.run.output.file, options.raw, "the raw trace");
  refuse_same_file(options.run.output.file, options.line.port, "the port");
  refuse_same_file(options.raw, options.line.port, "the port");
  refuse_same_file(options.run.output.file, options.run.database.file, "the trace database");
  refuse_same_file(options.raw, options.run.database.file, "the trace database");
  for (const std::string& output : {options.run.output.file, options.raw}) {
    refuse_file_of_cache(output, options.run.database);
  }
}

// What a person is told who got no packet.
user_error explain_nothing(const capture_options& options, const run_statistics& statistics,
                           std::uint64_t searched_bytes) {
  const std::uint64_t raw_bytes = statistics.raw_bytes();
  const std::string& port = options.line.port;
  const auto nothing = [](const std::string& text) {
    return user_error(exit_code::nothing_decoded, text);
  };
  if (raw_bytes == 0 && searched_bytes == 0) {
    return nothing(
        fmt::format("nothing arrived on {}; no capture was written. Check the port, its baud rate "
                    "and that the modem's trace is enabled.",
                    port));
  }
  if (raw_bytes == 0) {
    return nothing(fmt::format(
        "{} received on {} held no database UUID and were not kept; name the database with "
        "--database, or keep the raw trace with --raw alone, without --cache.",
        format_bytes(static_cast<double>(searched_bytes)), port));
  }
  return nothing(fmt::format(
      "{} came out of {} received on {}; no capture was written. Check the baud rate and that the "
      "database belongs to the modem's firmware.",
      nothing_but_losses(statistics), format_bytes(static_cast<double>(raw_bytes)), port));
}

// What became of the capture of a run that failed, if there was to be one.
std::string_view output_remark(const capture_options& options, bool kept) {
  return decodes(options) ? capture_remark(kept) : "";
}

// A modem does not pause for Ctrl-C, so that a stop is always at a somewhat arbitrary
// byte; only a run that had fallen behind has lost something by it.
constexpr std::uint64_t usually_under_way = 64 * 1024;

std::string unread_note(std::uint64_t bytes) {
  return fmt::format(
      "veltra: note: the last {} that were received were not read any more and are not kept.\n",
      format_bytes(static_cast<double>(bytes)));
}

// The raw trace of a run, if it is kept; its line comes however the run ends.
class raw_trace {
 public:
  explicit raw_trace(const std::string& file) : name_(output_name(platform::path_from_utf8(file))) {
    if (!file.empty()) recorder_.emplace(platform::path_from_utf8(file));
  }

  void take(const packet& packet) {
    if (recorder_) recorder_->take(packet);
  }

  void hurry() {
    if (recorder_) recorder_->hurry();
  }

  void finish() {
    if (!recorder_) return;
    recorder_->finish();
    if (recorder_->bytes() == 0) return;
    tell(fmt::format("{}: {} of raw trace\n", name_,
                     format_bytes(static_cast<double>(recorder_->bytes()))));
  }

 private:
  const std::string name_;
  std::optional<raw_recorder> recorder_;
};

exit_code capture(capture_options options) {
  check(options);
  std::string& output = options.run.output.file;
  if (!decodes(options)) {
    output.clear();
  } else if (output.empty()) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    output = name_without_file(
        default_capture_name(options.line, std::chrono::floor<std::chrono::seconds>(now).count(),
                             options.run.output.format));
  }

  raw_trace raw(options.raw);
  // Messages of the plug-in would tear the line.
  const bool counters = platform::is_terminal(stderr) && !options.run.verbose;
  auto monitor = std::make_shared<live_monitor>(
      live_status_options{.port = options.line.port, .with_counters = counters}, tell);
  std::uint64_t searched = 0;  // bytes in which the UUID is searched, not delivered yet
  std::uint64_t unread = 0;
  capture_request request{.parameters = {{"serialport", serial_parameters(options.line)}},
                          .input = options.line.port,
                          .options = options.run,
                          .live = true};
  request.observe = [monitor, &raw, &searched](const packet& packet) {
    monitor->take(packet);
    raw.take(packet);
    if (is_raw(packet)) searched = 0;
  };
  request.hurry = [&raw] { raw.hurry(); };
  request.observe_written = [monitor] { monitor->taken(); };
  request.observe_log = [monitor, &searched, &unread](std::string_view message) {
    searched = searched_bytes(message).value_or(searched);
    unread = unread_bytes(message).value_or(unread);
    monitor->take_message(message);
  };
  request.tell = [monitor](std::string_view lines) { monitor->tell(lines); };
  request.explain_failure = [&](const source_failure& failure, bool kept) {
    return explain_port_failure(
        failure, options.line.port, output_remark(options, kept),
        platform::find_device_holders(platform::path_from_utf8(options.line.port)));
  };
  request.explain_nothing = [&](const run_statistics& statistics) {
    return explain_nothing(options, statistics, std::exchange(searched, 0));
  };
  monitor = nullptr;  // the request's observers are its last users
  try {
    const exit_code code = run_capture(std::move(request));
    raw.finish();
    if (unread > usually_under_way) tell(unread_note(unread));
    return code;
  } catch (...) {
    raw.finish();
    if (unread != 0) tell(unread_note(unread));
    if (searched != 0) {
      tell(
          fmt::format("veltra: note: {} were received while the database's UUID was searched "
                      "and are not kept; --raw alone, without --cache, keeps them.\n",
                      format_bytes(static_cast<double>(searched))));
    }
    throw;
  }
}

}  // namespace

void add_capture_command(CLI::App& app, command& chosen) {
  auto options = std::make_shared<capture_options>();
  // One byte is enough for a read, which takes everything that is there: nothing
  // waits in the plug-in for a chunk to fill, least of all at Ctrl-C.
  options->run.chunk_size = 1;
  CLI::App* capture_app =
      app.add_subcommand("capture", "Record and decode a modem's trace live from a serial port");
  add_line_options(*capture_app, options->line);
  names_something(
      capture_app->add_option(
          "--raw", options->raw,
          "Keep the raw trace in this file as it comes, for a later \"veltra decode\", - for "
          "standard output; alone, without a database, nothing is decoded"))
      ->type_name("FILE");
  add_run_options(*capture_app, options->run);
  capture_app->get_option("--output")
      ->description("Capture file, - for standard output (default: capture-PORT-TIME.pcapng)");
  capture_app->callback([options, &chosen] { chosen = [options] { return capture(*options); }; });
}

}  // namespace veltra::host
