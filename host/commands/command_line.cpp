#include "host/commands/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include "host/commands/commands.h"
#include "host/commands/recording_arguments.h"
#include "host/commands/shared_options.h"
#include "host/console.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// The work of the subcommand that the command line chose.
using command = std::function<exit_code()>;

// The value of --raw without one, as --help shows it.
constexpr const char* raw_name_of_its_own = "capture-PORT-TIME.trace";

constexpr unsigned max_jobs = 1024;

void add_port_options(CLI::App& app, capture_options& options) {
  CLI::Option* const ports =
      require_nonempty(
          app.add_option("--port,-p", options.ports,
                         "Serial port, such as /dev/ttyUSB0 or COM3; \"veltra devices\" lists "
                         "them. Several times for several at once"))
          ->allow_extra_args(false)
          ->type_name("DEV");
  app.add_flag("--all", options.all_ports, "Every serial port that is there")->excludes(ports);
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

// What the process of one trace must not get: the batch's own options, and those that it replaces
// by others.
bool is_of_batch(const std::string& name) {
  static const std::set<std::string> names = {
      "--output-dir", "--jobs",    "--skip-existing",  "--shard",  "--suffix",
      "--summary",    "--quiet",   "--only-complete",  "--format", "--output",
      "--database",   "--cache",   "--location",       "--root",   "--proxy",
      "--update",     "--timeout", "--trust-catalogue"};
  return names.contains(name);
}

// What is wrong with the text of --shard; empty if it is one.
std::string check_shard(const std::string& text) {
  if (shard_named(text)) return {};
  return fmt::format("{} is not a part such as 3/8, the third of eight", text);
}

void add_batch_options(CLI::App& app, decode_options& options) {
  constexpr const char* heading = "Many traces";
  CLI::Option* const directory =
      require_nonempty(app.add_option("--output-dir", options.output_directory,
                                      "Decode each TRACE, and those below each DIRECTORY, to a "
                                      "capture in this directory"))
          ->type_name("DIR")
          ->group(heading);
  directory->excludes(app.get_option("--output"));
  app.add_option("--jobs,-j", options.jobs, "Traces at a time (default: one for each processor)")
      ->check(CLI::Range(1U, max_jobs))
      ->type_name("N")
      ->needs(directory)
      ->group(heading);
  app.add_flag("--skip-existing", options.skip_existing, "Pass over traces whose capture is there")
      ->needs(directory)
      ->group(heading);
  app.add_option_function<std::string>(
         "--shard", [&options](const std::string& text) { options.part = *shard_named(text); },
         "Decode only every N-th trace, beginning with the I-th")
      ->check(check_shard, "")
      ->type_name("I/N")
      ->needs(directory)
      ->group(heading);
  require_nonempty(app.add_option("--suffix", options.suffixes,
                                  fmt::format("In directories, traces are files whose names end "
                                              "so; may be given again (default: {})",
                                              fmt::join(default_trace_suffixes(), ", "))))
      ->allow_extra_args(false)
      ->type_name("TEXT")
      ->needs(directory)
      ->group(heading);
}

void add_decode_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<decode_options>();
  // Larger than the plug-in's own default: a file is there at once, and every
  // chunk costs a packet.
  options->run.chunk_size = std::uint64_t{1} << 16;
  CLI::App* const app =
      parent.add_subcommand("decode", "Turn a recorded trace into a capture for Wireshark");
  require_nonempty(app->add_option("TRACE", options->traces,
                                   "The modem's raw trace; with --output-dir several, and "
                                   "directories of them"))
      ->required();
  add_run_options(*app, options->run, "the trace's name with the format's ending",
                  "as recorded, if the trace has a sidecar, otherwise modem");
  add_batch_options(*app, *options);
  add_ending_options(*app, options->summary, options->fails_on_loss);
  app->add_flag("--only-complete", options->run.only_complete,
                "Keep no capture of a trace that was not read to its end");
  app->add_flag("--wireshark", options->wireshark, "Open the capture in Wireshark");
  app->add_flag("--strict", options->is_strict, "Refuse a database that the trace does not name");
  app->callback([app, options, &chosen] {
    options->passed_on = given_options(*app, is_of_batch);
    chosen = [options] { return decode(*options); };
  });
}

void add_explain_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<explain_options>();
  CLI::App* const app = parent.add_subcommand(
      "explain", "Say what is in a trace, and why packets did not come out of it");
  require_nonempty(app->add_option("TRACE", options->trace, "The modem's raw trace"))->required();
  add_database_options(*app, options->database);
  app->add_flag("--json", options->as_json, "For programs: a JSON object");
  require_nonempty(
      app->add_option("--plugin", options->plugin,
                      "Plug-in for the frames of another decoder (default: this program's)"));
  app->callback([options, &chosen] { chosen = [options] { return explain_trace(*options); }; });
}

void add_capture_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<capture_options>();
  // One byte is enough for a read, which takes everything that is there: nothing
  // waits in the plug-in for a chunk to fill.
  options->run.chunk_size = 1;
  CLI::App* const app =
      parent.add_subcommand("capture", "Record and decode a modem's trace live from a serial port");
  add_port_options(*app, *options);
  auto raw = std::make_shared<std::string>();
  const CLI::Option* const raw_option =
      app->add_option("--raw", *raw,
                      "Keep the raw trace as it comes, for a later \"veltra decode\": in this "
                      "file, - for standard output; alone, without a database, nothing is decoded")
          ->expected(0, 1)
          ->type_name("[FILE]")
          ->default_str(raw_name_of_its_own);
  add_run_options(*app, options->run, "capture-PORT-TIME.pcapng", "host");
  app->add_flag("--wireshark", options->wireshark,
                "Show the packets in Wireshark as they come; with -o, open the file at the end");
  const auto recording = std::make_shared<recording_arguments>();
  add_recording_options(*app, *recording, options->keeping);
  add_status_options(*app, *options);
  add_ending_options(*app, options->summary, options->fails_on_loss);
  app->callback([options, raw, raw_option, recording, &chosen] {
    if (options->ports.empty() && !options->all_ports) throw CLI::RequiredError("--port");
    if (raw_option->count() != 0) {
      // The parser checks no value of an option that needs none.
      if (raw->empty()) throw CLI::ValidationError("--raw", "the name is empty");
      options->raw = *raw == raw_name_of_its_own ? std::string() : *raw;
    }
    take_recording_options(*recording, *options);
    chosen = [options] { return capture(*options); };
  });
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
  require_nonempty(
      app->add_option("--plugin", options->run.plugin,
                      "Plug-in to load (default: the one that belongs to this program)"));
  app->callback([options, &chosen] { chosen = [options] { return make_report(*options); }; });
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

void add_doctor_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<doctor_options>();
  CLI::App* const app =
      parent.add_subcommand("doctor", "Say whether a capture would work on this machine");
  require_nonempty(app->add_option("--port,-p", options->port, "Only this serial port"))
      ->type_name("DEV");
  database_options& database = options->database;
  require_nonempty(app->add_option("--cache", database.cache, "Directory of databases"));
  require_nonempty(app->add_option("--location", database.locations,
                                   "Where the cache's catalogue config.json is"));
  require_nonempty(app->add_option("--root", database.root, "What ${root} in a location means"));
  app->add_option("--proxy", database.proxy, "Proxy for downloads, address with port");
  require_nonempty(
      app->add_option("--plugin", options->plugin,
                      "Plug-in to load (default: the one that belongs to this program)"));
  app->add_flag("--json", options->as_json, "For programs: a JSON object");
  app->callback([options, &chosen] { chosen = [options] { return check_machine(*options); }; });
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

  CLI::App* const lint = db->add_subcommand("lint", "Name every fault of a trace database file");
  const auto checks = std::make_shared<lint_options>();
  require_nonempty(lint->add_option("FILE", checks->file, "Trace database (.json or .tar.gz)"))
      ->required();
  lint->add_flag("--strict", checks->is_strict, "Fail for warnings, too");
  lint->add_flag("--json", checks->as_json, "For programs: a JSON object");
  lint->callback([checks, &chosen] { chosen = [checks] { return lint_database(*checks); }; });

  CLI::App* const publish =
      db->add_subcommand("publish", "Write the catalogue of a directory of databases");
  const auto published = std::make_shared<publish_options>();
  require_nonempty(publish->add_option("DIR", published->place, "Directory of databases"))
      ->required();
  require_nonempty(
      publish->add_option("--device", published->names.device, "Device of databases that are new"))
      ->type_name("NAME")
      ->default_str("modem");
  publish->callback(
      [published, &chosen] { chosen = [published] { return publish_directory(*published); }; });

  CLI::App* const add = db->add_subcommand("add", "Put a trace database file into a cache");
  const auto added = std::make_shared<publish_options>();
  require_nonempty(add->add_option("FILE", added->place, "Trace database (.json or .tar.gz)"))
      ->required();
  require_nonempty(add->add_option("--cache", added->cache, "Directory of databases"))->required();
  require_nonempty(add->add_option("--device", added->names.device, "Device in the catalogue"))
      ->type_name("NAME")
      ->default_str("modem");
  require_nonempty(add->add_option("--version", added->names.version,
                                   "Version in the catalogue (default: the file's name)"))
      ->type_name("NAME");
  add->callback([added, &chosen] { chosen = [added] { return add_to_cache(*added); }; });

  CLI::App* const verify = db->add_subcommand(
      "verify", "Check that every database of the catalogue is there and intact");
  add_cache_option(*verify, *options);
  verify->callback([options, &chosen] { chosen = [options] { return verify_cache(*options); }; });
}

void add_wireshark_command(CLI::App& parent, command& chosen) {
  CLI::App* const wireshark = parent.add_subcommand(
      "wireshark", "Make modems interfaces of Wireshark, and install its profile for them");
  wireshark->require_subcommand(1);
  const auto options = std::make_shared<wireshark_options>();
  const auto add = [&](const char* name, const char* description,
                       exit_code (*work)(const wireshark_options&)) {
    CLI::App* const app = wireshark->add_subcommand(name, description);
    app->add_flag("--system", options->for_all_users, "For all users of this machine");
    app->callback(
        [options, work, &chosen] { chosen = [options, work] { return work(*options); }; });
    return app;
  };
  add("install", "Install both for you", install_for_wireshark)
      ->add_flag("--overwrite", options->overwrite, "Replace what was changed in the profile");
  add("uninstall", "Remove both, unless the profile was changed", uninstall_from_wireshark);
  add("status", "Say what is installed where", show_wireshark_installation);
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
  bool with_parts = false;
  const auto version = [&with_parts] { return describe_version(with_parts); };
  // The parser reads its flags in this order.
  CLI::Option* const verbose =
      app.add_flag("--verbose,-v", with_parts, "With --version: the plug-in and the decoder, too");
  verbose->needs(app.set_version_flag("--version", version));
  app.allow_windows_style_options(false);  // the commands inherit it: /dir/file is a path
  app.failure_message(usage_failure);
  command chosen;
  add_decode_command(app, chosen);
  add_capture_command(app, chosen);
  add_explain_command(app, chosen);
  add_recover_command(app, chosen);
  add_report_command(app, chosen);
  add_devices_command(app, chosen);
  add_doctor_command(app, chosen);
  add_db_command(app, chosen);
  add_simulate_command(app, chosen);
  add_wireshark_command(app, chosen);

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
