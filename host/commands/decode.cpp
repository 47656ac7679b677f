#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

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
#include "host/user_error.h"
#include "host/wireshark/start_wireshark.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

void refuse_to_replace_input(const std::string& output, const std::string& input) {
  if (is_same_file(platform::path_from_utf8(output), platform::path_from_utf8(input))) {
    throw user_error(
        exit_code::usage,
        fmt::format("the output would replace the input {}; name another file with -o.", input));
  }
}

// The plug-in wants a file that has a size, but opens it first, which for a pipe
// waits for a writer.
void refuse_pipe(const std::string& trace) {
  std::error_code ignored;
  if (!std::filesystem::is_fifo(platform::path_from_utf8(trace), ignored)) return;
  throw user_error(
      exit_code::bad_input,
      fmt::format("{} is not a regular file but a pipe; give the trace's own file.", trace));
}

void check_database(const decode_options& options) {
  if (options.run.database.file.empty() && options.run.database.cache.empty()) {
    throw user_error(exit_code::usage,
                     "there is nothing to decode with: name the trace database with --database, or "
                     "a directory of databases with --cache.");
  }
}

void check_trace(const std::string& trace) {
  if (trace == "-") {
    throw user_error(exit_code::usage,
                     "a trace is read from a file, not from standard input; give the file's name.");
  }
  refuse_pipe(trace);
}

// The output's name when none is given. Another trace may have the same one, so a file
// that is there is replaced only if it says that it was made of this one, or on request.
std::string name_beside_trace(const decode_options& options, const std::string& trace) {
  std::filesystem::path path = platform::path_from_utf8(trace);
  path.replace_extension("." + options.run.output.format);
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

// A recording's sidecar says how to count its times, unless the command line does.
void use_sidecar(const std::string& trace, run_options& options) {
  const bool is_asked_for = options.times && options.times->source == time_base::kind::host;
  if (options.times && !is_asked_for) return;
  const std::filesystem::path path = sidecar_path(platform::path_from_utf8(trace));
  if (const auto recorded = read_sidecar(path)) {
    options.recorded_times = recorded->anchors;
  } else if (is_asked_for) {
    throw user_error(exit_code::usage,
                     fmt::format("there is no {} that says when the trace was recorded; give a "
                                 "time with --time-base, or leave it out.",
                                 platform::path_to_utf8(path)));
  }
}

// What outlives a run until its summary is written: a Ctrl-C must not come between a capture that
// has its name and its line in the summary.
struct decode_state {
  run_report report;
  run_group group{1, true};
  std::optional<platform::interrupt_watch> watch;
};

exit_code decode_trace(decode_options options, const std::string& trace, decode_state& state) {
  output_options& output = options.run.output;
  // What is wrong with a place that follows from the input's may be the input's fault.
  const bool is_named = !output.file.empty();
  if (!is_named) {
    output.format = choose_format({}, output.format);
    output.file = name_beside_trace(options, trace);
  }
  for (const std::string& file : {output.file, output.key_log}) {
    refuse_to_replace_input(file, trace);
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
  if (output.format == "pcapng") use_sidecar(trace, options.run);
  // A file of a series need not contain the UUID that the modem sends when it starts.
  options.run.database = find_database_of_trace(
      options.run.database, trace,
      options.run.database.cache.empty() ? std::string()
                                         : recorded_uuid(platform::path_from_utf8(trace)));
  if (options.is_strict) require_match(trace, options.run.database.file);
  const file_input input(trace);
  const std::unique_ptr<sink> capture = make_packet_sink(output, input);
  const std::unique_ptr<sink> key_log = make_key_log(output);
  progress_bar bar(platform::is_terminal(stderr) && !options.run.quiet ? stderr : nullptr);
  const exit_code result = explain_empty_run(trace, options.run.database, [&] {
    state.watch.emplace([&state] { state.group.interrupts.request(); });
    try {
      return run(input, options.run,
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
  if (options.traces.size() != 1) {
    throw user_error(exit_code::usage,
                     "several traces need a directory for their captures; name it with "
                     "--output-dir.");
  }
  const std::string trace = options.traces.front();
  check_trace(trace);
  refuse_to_replace_input(options.summary, trace);
  refuse_to_replace_input(options.summary, options.run.database.file);
  refuse_same_output(options.summary, options.run.output.file);
  summary_file summary(options.summary);
  decode_state state;
  return summarise_run(trace, summary, state.report, options.fails_on_loss,
                       [&] { return decode_trace(options, trace, state); });
}

}  // namespace veltra::host
