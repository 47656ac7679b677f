#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "host/batch/trace_list.h"
#include "host/commands/commands.h"
#include "host/commands/decode_batch.h"
#include "host/commands/explained_run.h"
#include "host/commands/packet_sink.h"
#include "host/commands/summarised_run.h"
#include "host/database/cache_report.h"
#include "host/database/database_match.h"
#include "host/database/provisioning.h"
#include "host/display/progress_bar.h"
#include "host/output/output_failure.h"
#include "host/output/output_format.h"
#include "host/output/provenance.h"
#include "host/output/same_file.h"
#include "host/run/run.h"
#include "host/run/sidecar.h"
#include "host/run/stream_input.h"
#include "host/source/file_kind.h"
#include "host/source/trace_reader.h"
#include "host/user_error.h"
#include "host/wireshark/start_wireshark.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

void refuse_to_replace_input(const std::string& output, const std::string& input) {
  if (input != "-" &&
      is_same_file(platform::path_from_utf8(output), platform::path_from_utf8(input))) {
    throw user_error(
        exit_code::usage,
        fmt::format("the output would replace the input {}; name another file with -o.", input));
  }
}

void check_database(const decode_options& options) {
  if (options.run.database.file.empty() && options.run.database.cache.empty()) {
    throw user_error(exit_code::usage,
                     "there is nothing to decode with: name the trace database with --database, or "
                     "a directory of databases with --cache.");
  }
}

// The bytes of a trace: a file, or several, or what can be read only once.
struct trace_files {
  std::vector<std::string> names;
  bool is_stream = false;  // the plug-in cannot read them itself

  const std::string& first() const { return names.front(); }
};

trace_files find_trace(const decode_options& options) {
  if (options.are_joined) {
    trace_files joined{options.traces, true};
    std::sort(joined.names.begin(), joined.names.end());
    if (std::find(joined.names.begin(), joined.names.end(), "-") != joined.names.end()) {
      throw user_error(exit_code::usage,
                       "files that are joined are in the order of their names, and with standard "
                       "input they have no order; give files only.");
    }
    return joined;
  }
  if (options.traces.size() != 1) {
    throw user_error(exit_code::usage,
                     "several traces need a directory for their captures; name it with "
                     "--output-dir, or use --join if they are parts of one trace.");
  }
  if (options.traces.front() == "-" && options.run.output.file.empty()) {
    throw user_error(exit_code::usage,
                     "standard input has no name that its capture could have; name the capture "
                     "with -o.");
  }
  return {options.traces, needs_reader(options.traces.front())};
}

void refuse_foreign(const std::string& trace, std::string_view first_bytes) {
  const std::string kind = foreign_kind(first_bytes);
  if (kind.empty()) return;
  throw user_error(exit_code::bad_input,
                   fmt::format("{} is {}, not a modem's trace; give the bytes as the modem sent "
                               "them.",
                               trace == "-" ? "standard input" : trace, kind));
}

// The output's name when none is given. Another trace may have the same one, so a file
// that is there is replaced only if it says that it was made of this one, or on request.
std::string name_beside_trace(const decode_options& options, const std::string& trace) {
  const std::filesystem::path path =
      capture_name(platform::path_from_utf8(trace), options.run.output.format);
  std::string name = platform::path_to_utf8(path);
  refuse_to_replace_input(name, trace);
  std::error_code ignored;
  if (!options.run.output.overwrite && std::filesystem::is_regular_file(path, ignored) &&
      !is_capture_of(read_provenance(path), platform::path_from_utf8(trace))) {
    throw user_error(exit_code::usage,
                     fmt::format("{} exists and may come from another trace; name the output with "
                                 "-o, or replace the file with --overwrite.",
                                 name));
  }
  return name;
}

// The sidecar of a recording, which may have been compressed since.
std::filesystem::path sidecar_of(const std::string& trace) {
  std::filesystem::path path = platform::path_from_utf8(trace);
  if (compression_of(trace) != compression::none) path.replace_extension();
  return sidecar_path(path);
}

// A recording's sidecars say how to count its times, unless the command line does.
void use_sidecars(const trace_files& trace, run_options& options) {
  const bool is_asked_for = options.times && options.times->source == time_base::kind::host;
  if (options.times && !is_asked_for) return;
  for (const std::string& name : trace.names) {
    const std::filesystem::path path = sidecar_of(name);
    if (const auto recorded = read_sidecar(path)) {
      options.recorded_times.insert(options.recorded_times.end(), recorded->anchors.begin(),
                                    recorded->anchors.end());
    } else if (is_asked_for) {
      throw user_error(exit_code::usage,
                       fmt::format("there is no {} that says when the trace was recorded; give a "
                                   "time with --time-base, or leave it out.",
                                   platform::path_to_utf8(path)));
    } else {
      options.recorded_times.clear();  // those of some parts do not place the others
      return;
    }
  }
}

// A file of a series need not contain the UUID that the modem sends when it starts.
std::string uuid_in_sidecars(const trace_files& trace) {
  for (const std::string& name : trace.names) {
    const auto recorded = read_sidecar(sidecar_of(name));
    if (recorded && !recorded->uuid.empty()) return recorded->uuid;
  }
  return {};
}

// Finds the database of a trace that can be read once, and makes the input of it.
std::unique_ptr<input> make_stream_input(const trace_files& trace, decode_options& options) {
  // Where a trace names its database: the plug-in keeps what it searches, too.
  constexpr std::size_t max_search = std::size_t{64} << 20;
  database_options& database = options.run.database;
  std::unique_ptr<trace_reader> reader = make_trace_reader(trace.names);
  const bool is_searched = !database.cache.empty() || options.is_strict;
  trace_start start = read_start(*reader, is_searched ? max_search : file_kind_bytes);
  refuse_foreign(trace.first(), start.bytes);
  if (!database.cache.empty()) {
    const std::string uuid = start.uuid.empty() ? uuid_in_sidecars(trace) : start.uuid;
    database = find_database_of_uuid(database, trace.first(), uuid);
  }
  if (options.is_strict) require_match(trace.first(), start.uuid, database.file);
  return std::make_unique<stream_input>(trace.names, std::move(start.bytes), std::move(reader));
}

std::unique_ptr<input> make_file_input(const std::string& trace, decode_options& options) {
  database_options& database = options.run.database;
  refuse_foreign(trace, first_bytes_of(trace));
  database = find_database_of_trace(
      database, trace, database.cache.empty() ? std::string() : uuid_in_sidecars({{trace}}));
  if (options.is_strict) require_match(trace, database.file);
  return std::make_unique<file_input>(trace);
}

// What outlives a run until its summary is written: a Ctrl-C must not come between a capture that
// has its name and its line in the summary.
struct decode_state {
  run_report report;
  run_group group{1, true};
  std::optional<platform::interrupt_watch> watch;
};

exit_code decode_trace(decode_options options, const trace_files& trace, decode_state& state) {
  output_options& output = options.run.output;
  // What is wrong with a place that follows from the input's may be the input's fault.
  const bool is_named = !output.file.empty();
  if (!is_named) {
    output.format = choose_format({}, output.format);
    output.file = name_beside_trace(options, trace.first());
  }
  for (const std::string& file : {output.file, output.key_log}) {
    for (const std::string& name : trace.names) refuse_to_replace_input(file, name);
    refuse_to_replace_input(file, options.run.database.file);
    refuse_file_of_cache(file, options.run.database);
  }
  refuse_same_output(output.key_log, output.file);
  const std::filesystem::path path = platform::path_from_utf8(output.file);
  if (is_named) {
    output.format = choose_format(path, output.format);
    check_output_place("cannot write", path);
  }
  if (options.wireshark) check_wireshark_output(output);
  refuse_metadata_without_effect(output);
  refuse_time_base_without_effect(options.run);
  if (output.format == "pcapng") use_sidecars(trace, options.run);
  const std::unique_ptr<input> input =
      trace.is_stream ? make_stream_input(trace, options) : make_file_input(trace.first(), options);
  const std::unique_ptr<sink> capture = make_packet_sink(output, *input);
  const std::unique_ptr<sink> key_log = make_key_log(output);
  progress_bar bar(platform::is_terminal(stderr) && !options.run.quiet ? stderr : nullptr);
  const exit_code result = explain_empty_run(trace.first(), options.run.database, [&] {
    state.watch.emplace([&state] { state.group.interrupts.request(); });
    try {
      return run(*input, options.run,
                 {.capture = capture.get(), .key_log = key_log.get(), .report = &state.report}, bar,
                 state.group);
    } catch (...) {
      state.watch.reset();  // there is no capture, and the explanation can be interrupted
      throw;
    }
  });
  if (options.wireshark) show_in_wireshark(capture->name());
  return result;
}

}  // namespace

exit_code decode(decode_options options) {
  check_database(options);
  if (!options.output_directory.empty()) return decode_batch(options);
  const trace_files trace = find_trace(options);
  for (const std::string& name : trace.names) refuse_to_replace_input(options.summary, name);
  refuse_to_replace_input(options.summary, options.run.database.file);
  refuse_same_output(options.summary, options.run.output.file);
  summary_file summary(options.summary);
  decode_state state;
  return summarise_run(trace.first(), summary, state.report, options.fails_on_loss,
                       [&] { return decode_trace(options, trace, state); });
}

}  // namespace veltra::host
