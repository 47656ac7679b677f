#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <system_error>

#include "host/commands/command.h"
#include "host/console.h"
#include "host/simulate/live_simulation.h"
#include "host/commands/name_option.h"
#include "host/simulate/simulation.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

// Returns what is wrong with the text of a count; empty if it is one. The
// parser's own reading would take a negative number round to a large one.
std::string check_repetitions(const std::string& text) {
  std::uint64_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error == std::errc() && stop == end && count > 0) return {};
  return fmt::format("\"{}\" is not a number of repetitions; give 1 or more", text);
}

std::string played(std::uint64_t repeat, bool interrupted) {
  if (interrupted) return "interrupted";
  return repeat == 1 ? std::string("played once") : fmt::format("played {} times", repeat);
}

// Says what was written, on stdout unless the trace itself went there.
void report(const simulate_options& options, const simulate_result& result) {
  const bool to_stdout = options.trace == "-";
  const std::string line = fmt::format(
      "{} message{}, {}: {} bytes of trace in {}; database {} in {}\n", result.messages,
      result.messages == 1 ? "" : "s", played(options.repeat, result.interrupted),
      result.trace_bytes,
      to_stdout ? std::string("standard output") : platform::path_to_utf8(options.trace),
      result.uuid, platform::path_to_utf8(options.database));
  to_stdout ? tell(line) : print(line);
}

struct arguments {
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

// What the options of both outputs have in common.
simulate_options make_options(const arguments& given, bool with_uuid) {
  simulate_options options;
  options.session = platform::path_from_utf8(given.session);
  options.trace = platform::path_from_utf8(given.trace);
  options.database = platform::path_from_utf8(given.database);
  options.repeat = given.repeat;
  if (with_uuid) options.uuid = given.uuid;
  return options;
}

exit_code run_to_files(const simulate_options& options) {
  // Outside the watch: Ctrl-C must end the wait for a pipe's reader.
  simulation simulated(options);
  std::atomic<bool> stopped = false;
  const platform::interrupt_watch watch([&] {
    stopped = true;
    simulated.limit_writes();
  });
  const simulate_result result = simulated.write([&stopped] { return stopped.load(); });
  report(options, result);
  return result.interrupted ? exit_code::interrupted : exit_code::ok;
}

exit_code run_live(const live_simulate_options& options) {
  const simulate_result result =
      simulate_live(options, [](const std::filesystem::path& device) {
        // The only line on stdout, so that a script can read the name.
        print(platform::path_to_utf8(device) + "\n");
      });
  tell(fmt::format("{} messages, {}: {} bytes sent; database {}\n", result.messages,
                   played(options.source.repeat, result.interrupted), result.trace_bytes,
                   result.uuid));
  return result.interrupted ? exit_code::interrupted : exit_code::ok;
}

// The options of playing to a line instead of a file.
CLI::Option* add_line_options(CLI::App& app, arguments& given) {
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

}  // namespace

void add_simulate_command(CLI::App& app, command& chosen) {
  const auto given = std::make_shared<arguments>();

  CLI::App* const simulate_app = app.add_subcommand(
      "simulate", "Play a session as a modem's trace, to a file or a line, with its database");
  names_something(
      simulate_app->add_option("SESSION", given->session, "The session, one message a line (.tsv)"))
      ->required();
  CLI::Option* const trace =
      names_something(simulate_app->add_option("--trace", given->trace,
                                               "Where the trace goes; - is standard output"))
          ->type_name("FILE");
  const CLI::Option* const pty = add_line_options(*simulate_app, *given)->excludes(trace);
  const CLI::Option* const database =
      names_something(simulate_app->add_option(
                          "--database", given->database,
                          "Where the trace database goes: .json, or .gz for a compressed archive"))
          ->type_name("FILE");
  simulate_app->add_option("--repeat", given->repeat, "How often the session is played")
      ->capture_default_str()
      ->check(check_repetitions, "")
      ->type_name("N");
  const CLI::Option* const uuid =
      simulate_app
          ->add_option("--uuid", given->uuid,
                       "The database's UUID; without it, one that follows from its content")
          ->type_name("UUID");

  simulate_app->callback([given, trace, pty, database, uuid, &chosen] {
    const bool live = pty->count() > 0;
    if (!live && trace->count() == 0) throw CLI::RequiredError("--trace or --pty");
    if (!live && database->count() == 0) throw CLI::RequiredError("--database");
    const simulate_options options = make_options(*given, uuid->count() > 0);
    if (live) {
      chosen = [source = options, given] {
        return run_live({.source = source,
                         .link = platform::path_from_utf8(given->link),
                         .pace = {speed_named(given->speed), given->baud_rate}});
      };
      return;
    }
    chosen = [options] { return run_to_files(options); };
  });
}

}  // namespace veltra::host
