#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "host/commands/capture_ports.h"
#include "host/commands/commands.h"
#include "host/commands/explained_run.h"
#include "host/commands/packet_sink.h"
#include "host/commands/summarised_run.h"
#include "host/console.h"
#include "host/database/provisioning.h"
#include "host/display/live_view.h"
#include "host/display/port_rows.h"
#include "host/display/status_files.h"
#include "host/output/output_failure.h"
#include "host/output/output_file.h"
#include "host/output/output_format.h"
#include "host/output/part_files.h"
#include "host/output/raw_sink.h"
#include "host/output/rotating_sink.h"
#include "host/output/same_file.h"
#include "host/run/many_runs.h"
#include "host/run/run.h"
#include "host/run/sidecar.h"
#include "host/user_error.h"
#include "host/wireshark/start_wireshark.h"
#include "host/wireshark/wireshark_window.h"
#include "platform/file.h"
#include "platform/serial_devices.h"
#include "platform/shell.h"

namespace veltra::host {

namespace {

bool decodes(const capture_options& options) {
  return !options.run.database.file.empty() || !options.run.database.cache.empty();
}

// A capture without a file goes into a window of its own.
bool is_shown_live(const capture_options& options) {
  return options.wireshark && options.run.output.file.empty();
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
  const std::string raw = options.raw.value_or("");
  refuse_same_file(options.run.output.file, raw, "the raw trace");
  refuse_same_file(options.run.output.file, options.line.port, "the port");
  refuse_same_file(raw, options.line.port, "the port");
  refuse_same_file(options.run.output.file, options.run.database.file, "the trace database");
  refuse_same_file(raw, options.run.database.file, "the trace database");
  const std::string& key_log = options.run.output.key_log;
  if (!key_log.empty() && !decodes(options)) {
    throw user_error(exit_code::usage,
                     "TLS secrets come out of decoding: name the trace database with --database or "
                     "--cache, or leave --keylog out.");
  }
  refuse_same_output(key_log, options.run.output.file);
  refuse_same_output(key_log, raw);
  refuse_same_file(key_log, options.line.port, "the port");
  refuse_same_file(key_log, options.run.database.file, "the trace database");
  for (const std::string& output : {options.run.output.file, raw, key_log}) {
    refuse_file_of_cache(output, options.run.database);
  }
  refuse_same_file(options.summary, options.line.port, "the port");
  refuse_same_file(options.summary, options.run.database.file, "the trace database");
  for (const std::string& output : {options.run.output.file, raw, key_log}) {
    refuse_same_output(options.summary, output);
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

void check_series(const capture_options& options) {
  const recording_options& recording = options.run.recording;
  const auto refuse = [](const char* text) { throw user_error(exit_code::usage, text); };
  const bool counts_packets = recording.rotation.piece.packets || recording.end.packets;
  if (counts_packets && !decodes(options)) {
    refuse(
        "packets are counted when they are decoded; name the trace database with --database "
        "or --cache, or limit the files with duration or filesize.");
  }
  const bool needs_series =
      recording.rotation.piece.files || recording.end.files || options.keeping.prints_names;
  if (needs_series && !recording.is_series()) {
    refuse(
        "there is one file only; say with -b duration, filesize, packets or interval when the "
        "next one begins.");
  }
  if (!recording.is_series()) return;
  if (options.wireshark) {
    refuse("--wireshark shows one capture, and -b and --reconnect make several; leave it out.");
  }
  for (const std::string& output : {options.run.output.file, options.raw.value_or("")}) {
    if (output.empty() || !output_file::is_stream(platform::path_from_utf8(output))) continue;
    throw user_error(exit_code::usage,
                     fmt::format("-b makes a series of files, which {} cannot be; name a file.",
                                 output_name(platform::path_from_utf8(output))));
  }
}

std::string default_name(const capture_options& options, const std::string& extension) {
  if (options.run.recording.is_series()) {
    return default_series_name(options.line.port, extension);
  }
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return name_without_file(default_capture_name(
      options.line.port, std::chrono::floor<std::chrono::seconds>(now).count(), extension));
}

std::unique_ptr<sink> make_raw_sink(const capture_options& options, piece_keeper& keeper) {
  const std::filesystem::path path = platform::path_from_utf8(*options.raw);
  const auto make = [is_synced = options.run.output.is_synced](const std::filesystem::path& file,
                                                               bool may_overwrite) {
    auto made = std::make_unique<raw_sink>(file, may_overwrite);
    if (!is_synced) made->skip_sync();
    return made;
  };
  if (!options.run.recording.is_series()) {
    auto only = make(path, options.run.output.overwrite);
    if (!only->is_stream()) check_sidecar(*options.raw, options.run.database);
    return only;
  }
  return std::make_unique<rotating_sink>(
      path, rotating_sink::content::raw,
      [make](const std::filesystem::path& piece, sink* /*previous*/) { return make(piece, false); },
      [&keeper](const piece& piece, const std::filesystem::path& file) {
        keeper.add(piece, file);
      });
}

std::unique_ptr<sink> make_capture_sink(const capture_options& options, const input& input,
                                        piece_keeper& keeper) {
  const output_options& output = options.run.output;
  const std::filesystem::path path = platform::path_from_utf8(output.file);
  check_output_place("cannot write", path);
  if (!options.run.recording.is_series()) return make_packet_sink(output, input);
  return std::make_unique<rotating_sink>(
      path,
      output.packets.has(packet_kind::raw) ? rotating_sink::content::all
                                           : rotating_sink::content::decoded,
      make_packet_piece_factory(output, input),
      [&keeper](const piece& piece, const std::filesystem::path& file) {
        keeper.add(piece, file);
      });
}

std::unique_ptr<sink> make_window(const capture_options& options) {
  return std::make_unique<wireshark_window>(
      pcapng_sink::settings{.packets = options.run.output.packets, .is_live = true});
}

// Gives the outputs that are asked for without a name one of their own.
void name_outputs(capture_options& options) {
  output_options& output = options.run.output;
  if (options.raw && options.raw->empty()) options.raw = default_name(options, "trace");
  if (decodes(options) && output.file.empty() && !options.wireshark) {
    output.file = default_name(options, output.format);
  }
}

// A capture that was ended by force has left its packets under another name.
void note_left_parts(const capture_options& options) {
  if (!decodes(options) || is_shown_live(options)) return;
  for (const std::filesystem::path& part :
       find_left_parts(platform::path_from_utf8(options.run.output.file))) {
    const std::string name = platform::path_to_utf8(part);
    print_message(
        fmt::format("veltra: note: {} was left by a capture that was ended by force; make a whole "
                    "one of it with: veltra recover {}\n",
                    name, platform::shell_word(name)));
  }
}

// For a log: what is recorded where. Empty if a person watches.
std::string report_start(const capture_options& options) {
  if (platform::is_terminal(stderr) || is_shown_live(options) || options.run.quiet) return {};
  const database_options& database = options.run.database;
  std::vector<std::string> files;
  for (const std::string& file : {options.raw.value_or(""), options.run.output.file}) {
    if (!file.empty()) files.push_back(sanitize(output_name(platform::path_from_utf8(file))));
  }
  return fmt::format("{}; files {}",
                     !decodes(options)       ? "no database, raw trace only"
                     : database.file.empty() ? "cache " + sanitize(database.cache)
                                             : "database " + sanitize(database.file),
                     fmt::join(files, ", "));
}

keeping_options keeping(const capture_options& options) {
  keeping_options result = options.keeping;
  result.is_series = options.run.recording.is_series();
  result.max_pieces = options.run.recording.rotation.piece.files.value_or(0);
  for (const std::string& output : {options.run.output.file, options.raw.value_or("")}) {
    if (!output.empty()) result.bases.push_back(platform::path_from_utf8(output));
  }
  return result;
}

// Everything that can be said before a port is opened.
void prepare(capture_options& options) {
  check(options);
  check_series(options);
  output_options& output = options.run.output;
  output.format = choose_format(platform::path_from_utf8(output.file), output.format);
  refuse_metadata_without_effect(output);
  if (options.wireshark) check_wireshark_output(output);
  options.run.database = provision_for_search(options.run.database);
  name_outputs(options);
  note_left_parts(options);
  options.line.follows_device = options.run.recording.reconnects;
  if (is_shown_live(options)) options.run.reader = reader_role::may_leave;
}

bool has_counters(const capture_options& options) {
  // Messages of the plug-in would tear the line of counters.
  return platform::is_terminal(stderr) && !options.run.verbose && !options.run.quiet;
}

exit_code capture_port(const capture_options& options, live_view& view, run_group& group,
                       run_report& report) {
  const serial_input input(options.line);
  status_files status(options.line.port,
                      {.json = platform::path_from_utf8(options.status_file),
                       .metrics = platform::path_from_utf8(options.metrics_file)},
                      view);
  piece_keeper keeper(keeping(options), [&view](const std::string& text) {
    view.show_lines(fmt::format("veltra: note: {}\n", text));
  });
  std::unique_ptr<sink> raw_trace;
  std::unique_ptr<sink> packets;
  run_sinks sinks{.keeper = &keeper, .report = &report};
  if (options.raw) {
    raw_trace = make_raw_sink(options, keeper);
    sinks.raw_trace = raw_trace.get();
    if (!raw_trace->is_stream()) sinks.raw_file = platform::path_from_utf8(*options.raw);
  }
  if (decodes(options)) {
    packets =
        is_shown_live(options) ? make_window(options) : make_capture_sink(options, input, keeper);
    sinks.capture = packets.get();
  }
  const std::unique_ptr<sink> key_log = make_key_log(options.run.output);
  sinks.key_log = key_log.get();
  const auto work = [&] { return run(input, options.run, sinks, status, group); };
  // The pieces of a series are many traces.
  const bool has_trace = !sinks.raw_file.empty() && !options.run.recording.is_series();
  const exit_code result =
      has_trace ? explain_empty_run(raw_trace->name(), options.run.database, work) : work();
  if (options.wireshark && !is_shown_live(options)) show_in_wireshark(packets->name());
  return result;
}

exit_code capture_port(const capture_options& options, live_view& view, run_group& group,
                       summary_file& summary) {
  run_report report;
  return summarise_run(options.line.port, summary, report, options.fails_on_loss,
                       [&] { return capture_port(options, view, group, report); });
}

exit_code capture_only_port(const capture_options& options, summary_file& summary) {
  live_view view({.port = options.line.port,
                  .with_counters = has_counters(options),
                  .report_start = report_start(options)});
  run_group group(1, false);
  return capture_port(options, view, group, summary);
}

exit_code capture_side_by_side(const std::vector<capture_options>& captures,
                               summary_file& summary) {
  std::vector<std::string> ports;
  for (const capture_options& each : captures) ports.push_back(each.line.port);
  port_rows rows(ports);
  port_rows* const shown_rows = has_counters(captures.front()) ? &rows : nullptr;
  std::vector<grouped_run> runs;
  for (std::size_t row = 0; row < captures.size(); ++row) {
    runs.push_back([&options = captures[row], &summary, shown_rows, row](run_group& group) {
      live_view view({.port = options.line.port,
                      .with_counters = false,
                      .report_start = report_start(options)},
                     shown_rows, row);
      return capture_port(options, view, group, summary);
    });
  }
  const exit_code result =
      run_side_by_side(runs, [&rows](std::string_view line) { rows.show_lines(line); });
  rows.end();
  return result;
}

std::vector<std::string> ports_of_machine() {
  std::vector<std::string> ports;
  for (const platform::serial_device& device : platform::list_serial_devices()) {
    ports.push_back(platform::path_to_utf8(device.path));
  }
  return ports;
}

}  // namespace

exit_code capture(const capture_options& options) {
  std::vector<capture_options> captures =
      split_by_port(options, options.all_ports ? ports_of_machine() : std::vector<std::string>());
  for (capture_options& each : captures) prepare(each);
  summary_file summary(options.summary);
  return captures.size() == 1 ? capture_only_port(captures.front(), summary)
                              : capture_side_by_side(captures, summary);
}

}  // namespace veltra::host
