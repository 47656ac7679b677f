#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <memory>
#include <string>
#include <system_error>

#include "host/commands/commands.h"
#include "host/commands/shared_options.h"
#include "host/commands/subcommands.h"
#include "platform/file.h"

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

}  // namespace

void add_simulate_command(CLI::App& parent, command& chosen) {
  const auto given = std::make_shared<simulate_arguments>();
  CLI::App* const app = parent.add_subcommand(
      "simulate", "Play a session as a modem's trace, to a file or a line, with its database");
  require_nonempty(
      app->add_option("SESSION", given->session, "The session, one message a line (.tsv)"))
      ->required()
      ->type_name("FILE");
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
  app->footer(
      "Examples:\n"
      "  veltra simulate attach_session.tsv --trace attach.bin --database attach.tar.gz\n"
      "  veltra simulate attach_session.tsv --pty modem --database modem.json");

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

}  // namespace veltra::host
