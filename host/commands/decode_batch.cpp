#include "host/commands/decode_batch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include "host/batch/batch.h"
#include "host/batch/batch_display.h"
#include "host/batch/summary_file.h"
#include "host/commands/packet_sink.h"
#include "host/database/provisioning.h"
#include "host/output/output_format.h"
#include "host/output/same_file.h"
#include "host/run/sidecar.h"
#include "host/source/trace_reader.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

void refuse_batch(const char* text) {
  throw user_error(exit_code::usage, text);
}

void check_for_batch(const decode_options& options) {
  if (!options.run.output.key_log.empty()) {
    refuse_batch(
        "--keylog is one file, and several traces have secrets of their own; leave it out.");
  }
  if (std::find(options.traces.begin(), options.traces.end(), "-") != options.traces.end()) {
    refuse_batch(
        "standard input has no name that its capture could have; name the capture with -o.");
  }
  if (options.wireshark) {
    refuse_batch("--wireshark shows one capture, and --output-dir is for many; leave it out.");
  }
}

// What a batch would write over what it reads.
void check_outputs(const decode_options& options, const std::vector<listed_trace>& traces) {
  const fs::path summary = platform::path_from_utf8(options.summary);
  for (const listed_trace& each : traces) {
    const fs::path input = platform::path_from_utf8(each.input);
    const fs::path output = platform::path_from_utf8(each.output);
    if (is_same_file(input, output)) {
      throw user_error(exit_code::usage, fmt::format("the output would replace the input {}; name "
                                                     "another directory.",
                                                     each.input));
    }
    if (is_same_file(summary, input) || is_same_file(summary, output)) {
      throw user_error(
          exit_code::usage,
          fmt::format("{} cannot be the summary, too; give it another name.", options.summary));
    }
  }
}

bool is_output_there(const std::string& name) {
  std::error_code ignored;
  return fs::exists(platform::path_from_utf8(name), ignored);
}

void make_directory_of(const std::string& output) {
  const fs::path directory = platform::path_from_utf8(output).parent_path();
  std::error_code error;
  fs::create_directories(directory, error);
  if (!error) return;
  throw user_error(exit_code::output_failed,
                   fmt::format("the directory {} cannot be made ({}); name another one with "
                               "--output-dir.",
                               platform::path_to_utf8(directory), error.message()));
}

std::vector<std::string> worker_arguments(const decode_options& options, const listed_trace& trace,
                                          const database_options& database) {
  std::vector<std::string> arguments = {"decode"};
  arguments.insert(arguments.end(), options.passed_on.begin(), options.passed_on.end());
  if (database.file.empty()) {
    arguments.insert(arguments.end(), options.passed_on_cache.begin(),
                     options.passed_on_cache.end());
  } else {
    arguments.push_back("--database=" + database.file);
  }
  for (const std::string& each :
       {"--format=" + options.run.output.format, "--output=" + trace.output,
        std::string("--summary=-"), std::string("--quiet"), std::string("--only-complete"),
        std::string("--"), trace.input}) {
    arguments.push_back(each);
  }
  return arguments;
}

std::optional<batch_result> run_worker(const decode_options& options, const listed_trace& trace,
                                       const database_options& database,
                                       worker_processes& workers) {
  const auto ending = workers.run(worker_arguments(options, trace, database));
  if (!ending) return std::nullopt;
  const bool is_interrupted = ending->end.exit_code == static_cast<int>(exit_code::interrupted) ||
                              (ending->end.killed && workers.is_stopped());
  if (is_interrupted) return std::nullopt;
  return read_worker(trace, *ending);
}

std::optional<batch_result> decode_one(const decode_options& options, const listed_trace& trace,
                                       database_finder& databases, worker_processes& workers) {
  const database_options& asked = options.run.database;
  try {
    make_directory_of(trace.output);
    // The process of a trace that is not an ordinary file finds the UUID as it reads.
    const bool is_searched = !asked.cache.empty() && !needs_reader(trace.input);
    return run_worker(
        options, trace,
        is_searched
            ? databases.find(trace.input, recorded_uuid(platform::path_from_utf8(trace.input)))
            : asked,
        workers);
  } catch (const user_error& error) {
    return failed_result(trace, error.code(), error.what());
  }
}

}  // namespace

exit_code decode_batch(const decode_options& options) {
  check_for_batch(options);
  decode_options batch = options;
  output_options& output = batch.run.output;
  output.format = choose_format({}, output.format);
  refuse_metadata_without_effect(output);
  refuse_time_base_without_effect(batch.run);
  std::vector<listed_trace> traces = list_traces(
      {.inputs = options.traces,
       .suffixes = options.suffixes.empty() ? default_trace_suffixes() : options.suffixes,
       .output_directory = options.output_directory,
       .extension = output.format,
       .part = options.part});
  check_outputs(options, traces);
  const std::size_t all = traces.size();
  if (options.skip_existing) {
    std::erase_if(traces, [](const listed_trace& each) { return is_output_there(each.output); });
  }
  summary_file summary(options.summary);
  database_finder databases(batch.run.database);
  worker_processes workers(platform::executable_path());
  // Before the threads, which must not get the signals.
  const platform::interrupt_watch watch([&workers] { workers.stop(); });
  batch_display display(
      {.terminal = platform::is_terminal(stderr) && !options.run.quiet ? stderr : nullptr,
       .is_quiet = options.run.quiet},
      traces);
  const exit_code result = run_batch(
      traces,
      {.jobs = options.jobs != 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency()),
       .decode =
           [&](const listed_trace& trace) { return decode_one(batch, trace, databases, workers); },
       .report =
           [&](const listed_trace& trace, const batch_result& each) {
             summary.write(each.line);
             display.show(trace, each);
           }});
  display.end(all - traces.size());
  return result;
}

}  // namespace veltra::host
