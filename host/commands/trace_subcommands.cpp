#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/commands/commands.h"
#include "host/commands/recording_arguments.h"
#include "host/commands/shared_options.h"
#include "host/commands/subcommands.h"

namespace veltra::host {

namespace {

// The value of --raw without one, as --help shows it.
constexpr const char* raw_name_of_its_own = "capture-PORT-TIME.trace";

constexpr unsigned max_jobs = 1024;

void add_port_options(CLI::App& app, capture_options& options,
                      std::vector<std::string>& more_ports) {
  app.option_defaults()->group("Serial port");
  CLI::Option* const arguments =
      require_nonempty(
          app.add_option("PORT", options.ports,
                         "Serial port, such as /dev/ttyUSB0 or COM3; \"veltra devices\" lists "
                         "them. Several are recorded at once"))
          ->type_name("DEV");
  CLI::Option* const ports =
      require_nonempty(app.add_option("--port,-p", more_ports, "The same as PORT"))
          ->allow_extra_args(false)
          ->type_name("DEV");
  app.add_flag("--all", options.all_ports, "Every serial port that is there")
      ->excludes(ports)
      ->excludes(arguments);
  add_line_settings(app, options.line);
}

// The options that were given, but for those that `is_ours`, as words of a command line.
std::vector<std::string> given_options(const CLI::App& app,
                                       const std::function<bool(const std::string&)>& is_ours) {
  std::vector<std::string> words;
  for (const CLI::Option* const each : app.get_options()) {
    const std::string name = each->get_name();
    if (each->count() == 0 || !name.starts_with("--") || is_ours(name)) continue;
    const bool is_flag = each->get_expected_max() == 0;
    for (const std::string& value : each->results()) {
      words.push_back(is_flag ? name : name + "=" + value);
    }
  }
  return words;
}

bool is_of_cache(const std::string& name) {
  static const std::set<std::string> names = {
      "--cache", "--location", "--root", "--proxy", "--update", "--timeout", "--trust-catalogue"};
  return names.contains(name);
}

// What the process of one trace must not get: the batch's own options, and those that it replaces
// by others.
bool is_of_batch(const std::string& name) {
  static const std::set<std::string> names = {
      "--output-dir", "--jobs",          "--skip-existing", "--shard",  "--suffix",  "--summary",
      "--quiet",      "--only-complete", "--format",        "--output", "--database"};
  return names.contains(name) || is_of_cache(name);
}

// What is wrong with the text of --shard; empty if it is one.
std::string check_shard(const std::string& text) {
  if (shard_named(text)) return {};
  return fmt::format("{} is not a part such as 3/8, the third of eight", text);
}

void add_batch_options(CLI::App& app, decode_options& options) {
  app.option_defaults()->group("Many traces");
  CLI::Option* const directory =
      require_nonempty(app.add_option("--output-dir", options.output_directory,
                                      "Decode each TRACE, and those below each DIRECTORY, to a "
                                      "capture in this directory"))
          ->type_name("DIR");
  directory->excludes(app.get_option("--output"));
  directory->excludes(app.get_option("--join"));
  app.add_option("--jobs,-j", options.jobs, "Traces at a time (default: one for each processor)")
      ->check(CLI::Range(1U, max_jobs))
      ->type_name("N")
      ->needs(directory);
  app.add_flag("--skip-existing", options.skip_existing, "Pass over traces whose capture is there")
      ->needs(directory);
  app.add_option_function<std::string>(
         "--shard", [&options](const std::string& text) { options.part = *shard_named(text); },
         "Decode only every N-th trace, beginning with the I-th")
      ->check(check_shard, "")
      ->type_name("I/N")
      ->needs(directory);
  require_nonempty(app.add_option("--suffix", options.suffixes,
                                  fmt::format("In directories, traces are files whose names end "
                                              "so; may be given again (default: {})",
                                              fmt::join(default_trace_suffixes(), ", "))))
      ->allow_extra_args(false)
      ->type_name("TEXT")
      ->needs(directory);
}

}  // namespace

void add_decode_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<decode_options>();
  // Larger than the plug-in's own default: a file is there at once, and every
  // chunk costs a packet.
  options->run.chunk_size = std::uint64_t{1} << 16;
  CLI::App* const app =
      parent.add_subcommand("decode", "Turn a recorded trace into a capture for Wireshark");
  require_nonempty(app->add_option("TRACE", options->traces,
                                   "The modem's raw trace, - for standard input; with "
                                   "--output-dir several, and directories of them"))
      ->required();
  add_run_options(*app, options->run, "the trace's name with the format's ending",
                  "as recorded, if the trace has a sidecar, otherwise modem");
  app->add_flag("--join", options->are_joined,
                "The TRACEs are one trace, in the order of their names");
  add_batch_options(*app, *options);
  add_ending_options(*app, options->summary, options->fails_on_loss);
  app->add_flag("--only-complete", options->run.only_complete,
                "Keep no capture of a trace that was not read to its end");
  app->add_flag("--wireshark", options->wireshark, "Open the capture in Wireshark");
  app->option_defaults()->group(database_heading);
  app->add_flag("--strict", options->is_strict, "Refuse a database that the trace does not name");
  app->footer(
      "Examples:\n"
      "  veltra decode trace.bin --database modem.tar.gz\n"
      "  veltra decode trace.bin --cache databases -o trace.pcapng\n"
      "  veltra decode traces --output-dir captures --cache databases --skip-existing\n"
      "  ssh lab cat trace.bin | veltra decode - -d modem.tar.gz -o trace.pcapng\n"
      "  veltra decode trace.bin -d modem.tar.gz -f jsonl -o - | jq .layer");
  app->callback([app, options, &chosen] {
    options->passed_on = given_options(*app, is_of_batch);
    options->passed_on_cache =
        given_options(*app, [](const std::string& name) { return !is_of_cache(name); });
    chosen = [options] { return decode(*options); };
  });
}

void add_capture_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<capture_options>();
  // One byte is enough for a read, which takes everything that is there: nothing
  // waits in the plug-in for a chunk to fill.
  options->run.chunk_size = 1;
  CLI::App* const app =
      parent.add_subcommand("capture", "Record and decode a modem's trace live from a serial port");
  const auto more_ports = std::make_shared<std::vector<std::string>>();
  add_port_options(*app, *options, *more_ports);
  app->option_defaults()->group(output_heading);
  auto raw = std::make_shared<std::string>();
  const CLI::Option* const raw_option =
      app->add_option("--raw", *raw,
                      "Keep the raw trace as it comes, for a later \"veltra decode\": in this "
                      "file, - for standard output; alone, without a database, nothing is decoded")
          ->expected(0, 1)
          ->type_name("[FILE]")
          ->default_str(raw_name_of_its_own);
  add_run_options(*app, options->run, "capture-PORT-TIME.pcapng", "host");
  app->option_defaults()->group(output_heading);
  app->add_flag("--wireshark", options->wireshark,
                "Show the packets in Wireshark as they come; with -o, open the file at the end");
  const auto recording = std::make_shared<recording_arguments>();
  add_recording_options(*app, *recording, options->keeping);
  add_status_options(*app, *options);
  add_ending_options(*app, options->summary, options->fails_on_loss);
  app->footer(
      "Examples:\n"
      "  veltra capture /dev/ttyUSB0 --database modem.tar.gz --raw\n"
      "  veltra capture /dev/ttyUSB0 --cache databases --wireshark\n"
      "  veltra capture --all --raw --reconnect -b duration:3600 -b files:48");
  app->callback([options, more_ports, raw, raw_option, recording, &chosen] {
    options->ports.insert(options->ports.end(), more_ports->begin(), more_ports->end());
    if (options->ports.empty() && !options->all_ports) throw CLI::RequiredError("PORT or --port");
    if (raw_option->count() != 0) {
      // The parser checks no value of an option that needs none.
      if (raw->empty()) throw CLI::ValidationError("--raw", "the name is empty");
      options->raw = *raw == raw_name_of_its_own ? std::string() : *raw;
    }
    take_recording_options(*recording, *options);
    chosen = [options] { return capture(*options); };
  });
}

void add_explain_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<explain_options>();
  CLI::App* const app = parent.add_subcommand(
      "explain", "Say what is in a trace, and why packets did not come out of it");
  require_nonempty(app->add_option("TRACE", options->trace, "The modem's raw trace"))->required();
  add_database_options(*app, options->database);
  app->option_defaults()->group("Options");
  app->add_flag("--json", options->as_json, "For programs: a JSON object");
  require_nonempty(
      app->add_option("--plugin", options->plugin,
                      "Plug-in for the frames of another decoder (default: this program's)"))
      ->type_name("FILE");
  app->footer("Example:\n  veltra explain trace.bin --database modem.tar.gz");
  app->callback([options, &chosen] { chosen = [options] { return explain_trace(*options); }; });
}

void add_report_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<report_arguments>();
  options->run.chunk_size = std::uint64_t{1} << 16;
  CLI::App* const app = parent.add_subcommand(
      "report", "Say what happened in captures or traces: attach, procedures, failures, losses");
  require_nonempty(app->add_option("INPUT", options->inputs,
                                   "Captures, or raw traces with --database or --cache; several "
                                   "are compared"))
      ->required();
  require_nonempty(app->add_option("--output,-o", options->output, "Report, - for standard output"))
      ->required()
      ->type_name("FILE");
  app->add_option("--format,-f", options->format, "What to write")
      ->check(CLI::IsMember({"html", "json", "csv"}))
      ->type_name("")
      ->capture_default_str();
  require_nonempty(app->add_option("--baseline", options->baseline,
                                   "Directory of earlier reports in JSON; what became worse is "
                                   "shown, and the exit code says so"))
      ->type_name("DIR");
  require_nonempty(
      app->add_option("--tshark", options->tshark, "tshark to use (default: the installed one)"))
      ->type_name("FILE");
  add_database_options(*app, options->run.database);
  app->option_defaults()->group("Options");
  add_plugin_option(*app, options->run.plugin);
  app->footer(
      "Examples:\n"
      "  veltra report capture.pcapng -o report.html\n"
      "  veltra report night-1.pcapng night-2.pcapng -o night.html --baseline reports");
  app->callback([options, &chosen] { chosen = [options] { return make_report(*options); }; });
}

void add_recover_command(CLI::App& parent, command& chosen) {
  CLI::App* const app = parent.add_subcommand(
      "recover", "Make whole captures of the .part files that a kill or a loss of power left");
  const auto parts = std::make_shared<std::vector<std::string>>();
  app->add_option("PART", *parts, "Such a file: NAME.XXXXXXXX.part")->required();
  app->footer("Example:\n  veltra recover modem.pcapng.3f2a90c1.part");
  app->callback([parts, &chosen] { chosen = [parts] { return recover(*parts); }; });
}

}  // namespace veltra::host
