#include "host/report/report.h"

#include <cstdio>
#include <memory>

#include "host/commands/commands.h"
#include "host/commands/explained_run.h"
#include "host/commands/packet_sink.h"
#include "host/console.h"
#include "host/database/provisioning.h"
#include "host/display/progress_bar.h"
#include "host/run/input.h"
#include "host/run/run.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

report::output_format format_named(const std::string& name) {
  if (name == "json") return report::output_format::json;
  return name == "csv" ? report::output_format::csv : report::output_format::html;
}

void decode_quietly(run_options options, const std::filesystem::path& trace,
                    const std::filesystem::path& capture) {
  const file_input input(platform::path_to_utf8(trace));
  options.output.file = platform::path_to_utf8(capture);
  options.quiet = true;
  options.database = find_database_of_trace(options.database, input.name());
  const std::unique_ptr<sink> packets = make_packet_sink(options.output, input);
  progress_bar bar(platform::is_terminal(stderr) ? stderr : nullptr);
  explain_empty_run(input.name(), options.database,
                    [&] { return run(input, options, {.capture = packets.get()}, bar); });
}

}  // namespace

exit_code make_report(const report_arguments& arguments) {
  report::report_options options;
  for (const std::string& each : arguments.inputs) {
    options.inputs.push_back(platform::path_from_utf8(each));
  }
  options.output = platform::path_from_utf8(arguments.output);
  options.format = format_named(arguments.format);
  options.tshark = arguments.tshark;
  options.baseline = platform::path_from_utf8(arguments.baseline);
  options.print = print_message;
  const database_options& database = arguments.run.database;
  options.decode = [&](const std::filesystem::path& trace, const std::filesystem::path& capture) {
    if (database.file.empty() && database.cache.empty()) {
      throw user_error(exit_code::usage,
                       platform::path_to_utf8(trace) +
                           " is not a capture; to decode it as a trace, name the trace database "
                           "with --database, or a directory of databases with --cache.");
    }
    decode_quietly(arguments.run, trace, capture);
  };
  return report::make_report(options);
}

}  // namespace veltra::host
