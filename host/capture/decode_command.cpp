#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "host/capture/capture_writer.h"
#include "host/capture/jsonl_writer.h"
#include "host/capture/plugin_library.h"
#include "host/capture/progress.h"
#include "host/capture/run_statistics.h"
#include "host/capture/source_parameters.h"
#include "host/capture/source_session.h"
#include "host/capture/summary.h"
#include "host/command.h"
#include "host/output_file.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

struct decode_options {
  std::string trace;
  std::string database;
  std::string output;  // empty: the trace's name with another extension
  std::string format = "pcapng";
  // Larger than the plug-in's own default: a file is there at once, and every
  // chunk costs a packet.
  std::uint64_t chunk_size = std::uint64_t{1} << 16;
  std::string plugin;
  bool raw_packets = false;
  bool verbose = false;
};

std::filesystem::path output_path(const decode_options& options) {
  if (!options.output.empty()) return platform::path_from_utf8(options.output);
  std::filesystem::path path = platform::path_from_utf8(options.trace);
  path.replace_extension(options.format == "jsonl" ? ".jsonl" : ".pcapng");
  return path;
}

void refuse_to_overwrite(const std::filesystem::path& output, const std::string& input) {
  std::error_code ignored;
  if (std::filesystem::equivalent(output, platform::path_from_utf8(input), ignored)) {
    throw user_error(
        exit_code::usage,
        fmt::format("the output would replace the input {}; name another file with -o.", input));
  }
}

std::string init_parameters(const decode_options& options) {
  const kovax::json parameters = {
      {"file_path", literal_path(platform::path_from_utf8(options.trace))},
      {"db_file_path", literal_path(platform::path_from_utf8(options.database))},
      {"chunk_size", options.chunk_size}};
  try {
    return parameters.dump();
  } catch (const kovax::json::type_error&) {
    throw user_error(exit_code::bad_input,
                     "a file's name is not UTF-8; rename it so that the plug-in can be told.");
  }
}

source_session::log_handler log_to_stderr(bool verbose) {
  if (!verbose) return {};
  return [](std::int32_t level, std::string_view message) {
    fmt::print(stderr, "[{}] {}\n", level, message);
  };
}

user_error nothing_decoded(const decode_options& options, const run_statistics& statistics) {
  if (statistics.raw_bytes() == 0) {
    return {exit_code::nothing_decoded,
            fmt::format("{} is empty; record the trace again.", options.trace)};
  }
  return {
      exit_code::nothing_decoded,
      fmt::format("not one packet came out of {} with the database {} (UUID {}); check that the "
                  "file is the modem's raw trace and that the database belongs to its firmware.",
                  options.trace, options.database, statistics.database_uuid())};
}

exit_code decode(const decode_options& options) {
  const std::filesystem::path output = output_path(options);
  refuse_to_overwrite(output, options.trace);
  refuse_to_overwrite(output, options.database);

  const plugin_library plugin(platform::path_from_utf8(options.plugin));
  source_session session(plugin, log_to_stderr(options.verbose));
  if (const source_failure failure = session.init(init_parameters(options))) {
    throw explain_init_failure(failure, options.trace, options.database);
  }

  const bool jsonl = options.format == "jsonl";
  output_file file(output, jsonl ? output_file::access::sequential : output_file::access::random);
  std::unique_ptr<packet_consumer> writer;
  if (jsonl) {
    writer = std::make_unique<jsonl_writer>(file, options.raw_packets);
  } else {
    writer = std::make_unique<capture_writer>(file);
  }

  run_statistics statistics;
  std::atomic<bool> interrupted = false;
  const auto begin = std::chrono::steady_clock::now();
  {
    progress_bar progress(platform::is_terminal(stderr) ? stderr : nullptr);
    const platform::interrupt_watch watch([&] {
      interrupted = true;
      session.stop();
    });
    const source_failure failure = session.run([&](const packet& packet) {
      statistics.add(packet);
      writer->consume(packet);
      progress.update(packet);
    });
    if (failure) throw explain_run_failure(failure, options.trace);
  }
  if (statistics.decoded_packets() == 0 && !interrupted) {
    throw nothing_decoded(options, statistics);
  }
  writer->finish();
  file.commit();

  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  fmt::print(stderr, "{}",
             format_summary(statistics, {.output = output == "-" ? "standard output"
                                                                 : platform::path_to_utf8(output),
                                         .elapsed = elapsed,
                                         .interrupted = interrupted}));
  return interrupted ? exit_code::interrupted : exit_code::ok;
}

}  // namespace

void add_decode_command(CLI::App& app, command& chosen) {
  auto options = std::make_shared<decode_options>();
  CLI::App* decode_app =
      app.add_subcommand("decode", "Turn a recorded trace into a capture for Wireshark");
  decode_app->add_option("TRACE", options->trace, "The modem's raw trace")->required();
  decode_app
      ->add_option("--database,-d", options->database,
                   "Trace database of the modem's firmware (.json or .tar.gz)")
      ->required();
  decode_app->add_option("--output,-o", options->output,
                         "Capture file, - for standard output "
                         "(default: TRACE with the format's extension)");
  decode_app->add_option("--format,-f", options->format, "What to write")
      ->check(CLI::IsMember({"pcapng", "jsonl"}))
      ->capture_default_str();
  decode_app->add_option("--chunk-size", options->chunk_size, "Bytes per read")
      ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 30))
      ->capture_default_str();
  decode_app->add_flag("--raw-packets", options->raw_packets,
                       "With jsonl: write the raw chunks too");
  decode_app->add_option("--plugin", options->plugin,
                         "Plug-in to load (default: the one that belongs to this program)");
  decode_app->add_flag("--verbose,-v", options->verbose, "Show the plug-in's messages");
  decode_app->callback([options, &chosen] { chosen = [options] { return decode(*options); }; });
}

}  // namespace veltra::host
