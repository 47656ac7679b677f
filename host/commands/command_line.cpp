#include "host/commands/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>
#include <system_error>
#include <utility>

#include "host/commands/commands.h"
#include "host/commands/file_limits.h"
#include "host/console.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// The work of the subcommand that the command line chose.
using command = std::function<exit_code()>;

constexpr std::uint64_t max_chunk_size = std::uint64_t{1} << 30;

// Refuses an empty value: it is what a shell makes of a variable that is not set, and
// would pass for an option that was not given.
CLI::Option* require_nonempty(CLI::Option* option) {
  return option->check(
      [](const std::string& text) {
        return text.empty() ? std::string("the name is empty") : std::string();
      },
      "");
}

// The options need the option `cache`, if there is one.
void add_catalogue_options(CLI::App& app, database_options& options, CLI::Option* cache) {
  CLI::Option* const location = require_nonempty(app.add_option(
      "--location", options.locations,
      "Where the cache's catalogue config.json is; may be given again, the best first"));
  const std::vector<CLI::Option*> others = {
      location,
      require_nonempty(app.add_option("--root", options.root,
                                      "What ${root} in a location or the catalogue means")),
      app.add_option("--proxy", options.proxy, "Proxy for downloads, address with port"),
      app.add_flag("--update", options.update, "Fetch the catalogue before starting")
          ->needs(location)};
  if (cache == nullptr) return;
  for (CLI::Option* const option : others) option->needs(cache);
}

void add_database_options(CLI::App& app, database_options& options) {
  CLI::Option_group* group = app.add_option_group(
      "Trace database", "which database decodes: a file, or the one the trace asks for");
  CLI::Option* const file = require_nonempty(group->add_option(
      "--database,-d", options.file, "Trace database of the modem's firmware (.json or .tar.gz)"));
  CLI::Option* const cache = require_nonempty(group->add_option(
      "--cache", options.cache, "Directory of databases, searched for the UUID in the trace"));
  file->excludes(cache);
  add_catalogue_options(app, options, cache);
}

void add_run_options(CLI::App& app, run_options& options, const char* default_name) {
  add_database_options(app, options.database);
  require_nonempty(app.add_option(
      "--output,-o", options.output.file,
      fmt::format("Capture file, - for standard output (default: {})", default_name)));
  app.add_flag("--overwrite", options.output.overwrite,
               "Replace an existing file that was not named, or a raw trace");
  app.add_option("--format,-f", options.output.format, "What to write")
      ->check(CLI::IsMember({"pcapng", "jsonl"}))
      ->capture_default_str();
  app.add_flag("--raw-packets", options.output.raw_packets,
               "Write the trace's own bytes, too, chunk by chunk");
  app.add_option("--chunk-size", options.chunk_size, "Bytes per read")
      ->check(CLI::Range(std::uint64_t{1}, max_chunk_size))
      ->capture_default_str();
  require_nonempty(
      app.add_option("--plugin", options.plugin,
                     "Plug-in to load (default: the one that belongs to this program)"));
  app.add_flag("--verbose,-v", options.verbose, "Show the plug-in's messages");
}

void add_line_options(CLI::App& app, line_options& options) {
  require_nonempty(
      app.add_option("--port,-p", options.port,
                     "Serial port, such as /dev/ttyUSB0 or COM3; \"veltra devices\" lists them"))
      ->required()
      ->type_name("DEV");
  app.add_option("--baud-rate", options.baud_rate, "Bits per second")
      ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()))
      ->capture_default_str();
  app.add_option("--data-bits", options.data_bits, "Data bits of a byte")
      ->check(CLI::Range(5U, 8U))
      ->capture_default_str();
  app.add_option("--stop-bits", options.stop_bits, "Stop bits of a byte")
      ->check(CLI::IsMember({"1", "1.5", "2"}))
      ->type_name("")
      ->capture_default_str();
  app.add_option("--parity", options.parity, "Parity bit")
      ->check(CLI::IsMember({"none", "odd", "even"}))
      ->type_name("")
      ->capture_default_str();
  app.add_option("--flow-control", options.flow_control, "sw is XON/XOFF, hw is RTS/CTS")
      ->check(CLI::IsMember({"none", "sw", "hw"}))
      ->type_name("")
      ->capture_default_str();
}

void add_decode_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<decode_options>();
  // Larger than the plug-in's own default: a file is there at once, and every
  // chunk costs a packet.
  options->run.chunk_size = std::uint64_t{1} << 16;
  CLI::App* const app =
      parent.add_subcommand("decode", "Turn a recorded trace into a capture for Wireshark");
  require_nonempty(app->add_option("TRACE", options->trace, "The modem's raw trace"))->required();
  add_run_options(*app, options->run, "the trace's name with the format's ending");
  app->callback([options, &chosen] { chosen = [options] { return decode(*options); }; });
}

// The texts of the options that dumpcap's users know.
struct recording_arguments {
  std::vector<std::string> rotation;
  std::vector<std::string> end;
  std::uint64_t packets = 0;
  std::string min_free;
  double sync_interval = 0;
  bool reconnects = false;
};

void add_recording_options(CLI::App& app, recording_arguments& given, keeping_options& keeping) {
  app.add_option("-b", given.rotation,
                 "Begin the next file after duration:SECONDS, filesize:KB, packets:N or at each "
                 "interval:SECONDS; files:N keeps the latest N, printname:- prints each name")
      ->allow_extra_args(false)
      ->type_name("KEY:VALUE");
  app.add_option("-a", given.end, "End after duration:SECONDS, filesize:KB, packets:N or files:N")
      ->allow_extra_args(false)
      ->type_name("KEY:VALUE");
  app.add_option("-c", given.packets, "End after N decoded packets")
      ->check(CLI::Range(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()))
      ->type_name("N");
  app.add_flag("--reconnect", given.reconnects,
               "Wait for a port that is not there yet or was lost, and go on with the next file");
  app.add_option("--sync-interval", given.sync_interval,
                 "Make the raw trace safe against a loss of power so often, too, not only file by "
                 "file")
      ->check(CLI::PositiveNumber)
      ->type_name("SECONDS");
  require_nonempty(app.add_option("--on-file", keeping.command,
                                  "Run this command with the name of each complete file"))
      ->type_name("COMMAND");
  app.add_option("--min-free", given.min_free,
                 "Free space that must stay, such as 2G: end before it is less, or with -b files:N "
                 "delete the oldest files")
      ->type_name("SIZE");
}

void add_status_options(CLI::App& app, capture_options& options) {
  require_nonempty(app.add_option("--status-file", options.status_file,
                                  "Write the capture's state to this file, as JSON"))
      ->type_name("FILE");
  require_nonempty(
      app.add_option("--metrics", options.metrics_file,
                     "Write it in Prometheus' text format, for the textfile collector"))
      ->type_name("FILE");
}

void take_recording_options(const recording_arguments& given, capture_options& options) {
  recording_options& recording = options.run.recording;
  recording.reconnects = given.reconnects;
  if (given.sync_interval > 0) {
    recording.sync_interval = std::chrono::duration<double>(given.sync_interval);
  }
  const rotation_request request = parse_rotation(given.rotation);
  recording.rotation = request.rotation;
  recording.end = parse_end(given.end);
  if (given.packets != 0) recording.end.packets = given.packets;
  // As dumpcap has it, in a series the size is that of each file.
  if (recording.end.bytes && !given.rotation.empty()) {
    recording.rotation.piece.bytes = std::exchange(recording.end.bytes, std::nullopt);
  }
  options.keeping.prints_names = request.prints_names;
  if (!given.min_free.empty()) options.keeping.min_free = parse_size("--min-free", given.min_free);
}

void add_capture_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<capture_options>();
  // One byte is enough for a read, which takes everything that is there: nothing
  // waits in the plug-in for a chunk to fill.
  options->run.chunk_size = 1;
  CLI::App* const app =
      parent.add_subcommand("capture", "Record and decode a modem's trace live from a serial port");
  add_line_options(*app, options->line);
  auto raw = std::make_shared<std::string>();
  const CLI::Option* const raw_option =
      app->add_option("--raw", *raw,
                      "Keep the raw trace as it comes, for a later \"veltra decode\": in this "
                      "file, - for standard output (default: capture-PORT-TIME.trace); alone, "
                      "without a database, nothing is decoded")
          ->expected(0, 1)
          ->type_name("[FILE]");
  add_run_options(*app, options->run, "capture-PORT-TIME.pcapng");
  const auto recording = std::make_shared<recording_arguments>();
  add_recording_options(*app, *recording, options->keeping);
  add_status_options(*app, *options);
  app->callback([options, raw, raw_option, recording, &chosen] {
    if (raw_option->count() != 0) options->raw = *raw;
    take_recording_options(*recording, *options);
    chosen = [options] { return capture(*options); };
  });
}

void add_recover_command(CLI::App& parent, command& chosen) {
  CLI::App* const app = parent.add_subcommand(
      "recover", "Make whole captures of the .part files that a kill or a loss of power left");
  const auto parts = std::make_shared<std::vector<std::string>>();
  app->add_option("PART", *parts, "Such a file: NAME.XXXXXXXX.part")->required();
  app->callback([parts, &chosen] { chosen = [parts] { return recover(*parts); }; });
}

void add_devices_command(CLI::App& parent, command& chosen) {
  CLI::App* const app = parent.add_subcommand(
      "devices", "List the serial ports, what is behind them and who has them open");
  app->callback([&chosen] { chosen = list_devices; });
}

CLI::Option* add_cache_option(CLI::App& app, database_options& options) {
  return require_nonempty(app.add_option("--cache", options.cache, "Directory of databases"))
      ->required();
}

void add_db_command(CLI::App& parent, command& chosen) {
  CLI::App* const db = parent.add_subcommand("db", "Keep and look at a cache of trace databases");
  db->require_subcommand(1);
  const auto options = std::make_shared<database_options>();

  CLI::App* const sync =
      db->add_subcommand("sync", "Make sure that every database of the catalogue is in the cache");
  add_catalogue_options(*sync, *options, add_cache_option(*sync, *options));
  sync->callback([options, &chosen] { chosen = [options] { return sync_cache(*options); }; });

  CLI::App* const list = db->add_subcommand("list", "List the cache's databases");
  add_cache_option(*list, *options);
  const auto as_json = std::make_shared<bool>(false);
  list->add_flag("--json", *as_json, "For programs: a JSON array");
  list->callback([options, as_json, &chosen] {
    chosen = [options, as_json] { return list_cache(*options, *as_json); };
  });

  CLI::App* const show = db->add_subcommand("show", "Say what is in a trace database file");
  const auto file = std::make_shared<std::string>();
  require_nonempty(show->add_option("FILE", *file, "Trace database (.json or .tar.gz)"))
      ->required();
  show->callback([file, &chosen] { chosen = [file] { return show_database(*file); }; });

  CLI::App* const verify = db->add_subcommand(
      "verify", "Check that every database of the catalogue is there and intact");
  add_cache_option(*verify, *options);
  verify->callback([options, &chosen] { chosen = [options] { return verify_cache(*options); }; });
}

// Returns what is wrong with the text of a count; empty if it is one. The
// parser's own reading would take a negative number round to a large one.
std::string check_repetitions(const std::string& text) {
  std::uint64_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error == std::errc() && stop == end && count > 0) return {};
  return fmt::format("\"{}\" is not a number of repetitions; give 1 or more", text);
}

struct simulate_arguments {
  std::string session;
  std::string trace;
  std::string database;
  std::uint64_t repeat = 1;
  std::string uuid;
  std::string link;
  std::string speed = "line";
  std::uint32_t baud_rate = play_pace().baud_rate;
};

play_speed speed_named(const std::string& name) {
  if (name == "max") return play_speed::fastest;
  return name == "session" ? play_speed::session : play_speed::line;
}

simulate_options make_simulate_options(const simulate_arguments& given, bool with_uuid) {
  simulate_options options;
  options.session = platform::path_from_utf8(given.session);
  options.trace = platform::path_from_utf8(given.trace);
  options.database = platform::path_from_utf8(given.database);
  options.repeat = given.repeat;
  if (with_uuid) options.uuid = given.uuid;
  return options;
}

// The options of playing to a line instead of a file.
CLI::Option* add_pseudo_terminal_options(CLI::App& app, simulate_arguments& given) {
  CLI::Option* const pty =
      app.add_option("--pty", given.link,
                     "Play to a pseudo-terminal, whose name is printed, instead of a file; LINK "
                     "becomes a symbolic link to it")
          ->expected(0, 1)
          ->type_name("[LINK]");
  app.add_option("--baud-rate", given.baud_rate, "Bits per second of the line")
      ->capture_default_str()
      ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()))
      ->needs(pty);
  app.add_option("--speed", given.speed,
                 "line: back to back at the line's speed; session: each message at its time; max: "
                 "as fast as the reader takes it")
      ->capture_default_str()
      ->check(CLI::IsMember({"line", "session", "max"}))
      ->type_name("")
      ->needs(pty);
  return pty;
}

void add_simulate_command(CLI::App& parent, command& chosen) {
  const auto given = std::make_shared<simulate_arguments>();
  CLI::App* const app = parent.add_subcommand(
      "simulate", "Play a session as a modem's trace, to a file or a line, with its database");
  require_nonempty(
      app->add_option("SESSION", given->session, "The session, one message a line (.tsv)"))
      ->required();
  CLI::Option* const trace =
      require_nonempty(
          app->add_option("--trace", given->trace, "Where the trace goes; - is standard output"))
          ->type_name("FILE");
  const CLI::Option* const pty = add_pseudo_terminal_options(*app, *given)->excludes(trace);
  const CLI::Option* const database =
      require_nonempty(
          app->add_option("--database", given->database,
                          "Where the trace database goes: .json, or .gz for a compressed archive"))
          ->type_name("FILE");
  app->add_option("--repeat", given->repeat, "How often the session is played")
      ->capture_default_str()
      ->check(check_repetitions, "")
      ->type_name("N");
  const CLI::Option* const uuid =
      app->add_option("--uuid", given->uuid,
                      "The database's UUID; without it, one that follows from its content")
          ->type_name("UUID");

  app->callback([given, trace, pty, database, uuid, &chosen] {
    const bool is_live = pty->count() > 0;
    if (!is_live && trace->count() == 0) throw CLI::RequiredError("--trace or --pty");
    if (!is_live && database->count() == 0) throw CLI::RequiredError("--database");
    const simulate_options options = make_simulate_options(*given, uuid->count() > 0);
    if (!is_live) {
      chosen = [options] { return simulate_to_files(options); };
      return;
    }
    const live_simulate_options live = {.source = options,
                                        .link = platform::path_from_utf8(given->link),
                                        .pace = {speed_named(given->speed), given->baud_rate}};
    chosen = [live] { return simulate_on_line(live); };
  });
}

// What is wrong with the command line, as one line like every other failure.
std::string usage_failure(const CLI::App* app, const CLI::Error& error) {
  std::string name = "veltra";
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    name += " " + app->get_name();
  }
  // The parser reports a missing command before an unknown one.
  const std::vector<std::string> rest = app->remaining();
  if (app->get_require_subcommand_min() > 0 && !rest.empty()) {
    return fmt::format("veltra: \"{}\" is not {}; see {} --help.\n", sanitize(rest.front()),
                       rest.front().starts_with('-') ? "an option" : "a command", name);
  }
  return fmt::format("veltra: {}; see {} --help.\n", sanitize(error.what()), name);
}

// Gives what was asked for, help or the version, or reports what is wrong with the
// command line. Throws user_error (output_failed) if standard output does not take it.
exit_code answer(const CLI::App& app, const CLI::ParseError& error) {
  std::ostringstream asked;
  // CLI11 returns 0 for help and the version; everything else is usage.
  if (app.exit(error, asked, std::cerr) != 0) return exit_code::usage;
  print(asked.str());
  return exit_code::ok;
}

}  // namespace

exit_code run_command_line(const std::vector<std::string>& arguments) {
  CLI::App app{"veltra - turns the trace of an LTE modem into a capture that Wireshark dissects",
               "veltra"};
  app.require_subcommand(1);
  app.set_version_flag("--version", "veltra " VELTRA_VERSION);
  app.allow_windows_style_options(false);  // the commands inherit it: /dir/file is a path
  app.failure_message(usage_failure);
  command chosen;
  add_decode_command(app, chosen);
  add_capture_command(app, chosen);
  add_recover_command(app, chosen);
  add_devices_command(app, chosen);
  add_db_command(app, chosen);
  add_simulate_command(app, chosen);

  std::vector<const char*> words;
  for (const std::string& argument : arguments) words.push_back(argument.c_str());
  try {
    app.parse(static_cast<int>(words.size()), words.data());
  } catch (const CLI::ParseError& error) {
    return answer(app, error);
  }
  return chosen();
}

}  // namespace veltra::host
