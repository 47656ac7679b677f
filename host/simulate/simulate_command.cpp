#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>

#include "host/command.h"
#include "host/simulate/simulation.h"
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

// Says what was written, on stdout unless the trace itself went there.
void report(const simulate_options& options, const simulate_result& result) {
  const bool to_stdout = options.trace == "-";
  const std::string line = fmt::format(
      "{} messages, played {}: {} bytes of trace in {}; database {} in {}\n", result.messages,
      options.repeat == 1 ? std::string("once") : fmt::format("{} times", options.repeat),
      result.trace_bytes,
      to_stdout ? std::string("standard output") : platform::path_to_utf8(options.trace),
      result.uuid, platform::path_to_utf8(options.database));
  std::fputs(line.c_str(), to_stdout ? stderr : stdout);
}

}  // namespace

void add_simulate_command(CLI::App& app, command& chosen) {
  struct arguments {
    std::string session;
    std::string trace;
    std::string database;
    std::uint64_t repeat = 1;
    std::string uuid;
  };
  const auto given = std::make_shared<arguments>();

  CLI::App* const simulate_app = app.add_subcommand(
      "simulate", "Write the trace that a modem would send for a session, and its database");
  simulate_app->add_option("SESSION", given->session, "The session, one message a line (.tsv)")
      ->required();
  simulate_app->add_option("--trace", given->trace, "Where the trace goes; - is standard output")
      ->required()
      ->type_name("FILE");
  simulate_app
      ->add_option("--database", given->database,
                   "Where the trace database goes: .json, or .gz for a compressed archive")
      ->required()
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

  simulate_app->callback([given, uuid, &chosen] {
    simulate_options options;
    options.session = platform::path_from_utf8(given->session);
    options.trace = platform::path_from_utf8(given->trace);
    options.database = platform::path_from_utf8(given->database);
    options.repeat = given->repeat;
    if (uuid->count() > 0) options.uuid = given->uuid;
    chosen = [options] {
      report(options, simulate(options));
      return exit_code::ok;
    };
  });
}

}  // namespace veltra::host
