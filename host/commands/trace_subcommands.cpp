#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
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

}  // namespace

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
