#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/run/capture_run.h"
#include "host/display/progress.h"
#include "host/commands/command.h"
#include "host/console.h"
#include "host/source/literal_path.h"
#include "host/commands/name_option.h"
#include "host/output/same_file.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

struct decode_options {
  std::string trace;
  run_options run;
};

// The output's name when none is given.
std::string beside_trace(const decode_options& options) {
  std::filesystem::path path = platform::path_from_utf8(options.trace);
  path.replace_extension(options.run.output.format == "jsonl" ? ".jsonl" : ".pcapng");
  return platform::path_to_utf8(path);
}

void refuse_to_overwrite(const std::string& output, const std::string& input) {
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
      fmt::format("{} is no regular file but a pipe; give the trace's own file.", trace));
}

exit_code decode(decode_options options) {
  if (options.run.database.file.empty() && options.run.database.cache.empty()) {
    throw user_error(exit_code::usage,
                     "there is nothing to decode with: name the trace database with --database, or "
                     "a directory of databases with --cache.");
  }
  if (options.trace == "-") {
    throw user_error(exit_code::usage,
                     "a trace is read from a file, not from standard input; give the file's name.");
  }
  refuse_pipe(options.trace);
  std::string& output = options.run.output.file;
  const bool output_is_named = !output.empty();
  if (!output_is_named) output = beside_trace(options);
  refuse_to_overwrite(output, options.trace);
  refuse_to_overwrite(output, options.run.database.file);
  refuse_file_of_cache(output, options.run.database);

  // Held by the observers alone: with them, the bar goes away before the summary comes.
  auto bar = std::make_shared<progress_bar>(platform::is_terminal(stderr) ? stderr : nullptr);
  return run_capture(
      {.parameters = {{"file_path", literal_path(platform::path_from_utf8(options.trace))}},
       .input = options.trace,
       .options = options.run,
       .output_is_named = output_is_named,
       .observe = [bar](const packet& packet) { bar->update(packet); },
       .tell =
           [bar = std::move(bar)](std::string_view lines) {
             bar->wipe();
             tell(lines);
           }});
}

}  // namespace

void add_decode_command(CLI::App& app, command& chosen) {
  auto options = std::make_shared<decode_options>();
  // Larger than the plug-in's own default: a file is there at once, and every
  // chunk costs a packet.
  options->run.chunk_size = std::uint64_t{1} << 16;
  CLI::App* decode_app =
      app.add_subcommand("decode", "Turn a recorded trace into a capture for Wireshark");
  names_something(decode_app->add_option("TRACE", options->trace, "The modem's raw trace"))
      ->required();
  add_run_options(*decode_app, options->run);
  decode_app->callback([options, &chosen] { chosen = [options] { return decode(*options); }; });
}

}  // namespace veltra::host
