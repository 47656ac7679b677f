// veltra - turns a modem trace into a capture.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "host/commands/command.h"
#include "host/console.h"
#include "host/terminal_line.h"
#include "host/user_error.h"
#include "platform/arguments.h"
#include "platform/console.h"
#include "platform/message.h"

namespace {

// What is wrong with the command line, as one line like every other failure.
std::string usage_failure(const CLI::App* app, const CLI::Error& error) {
  std::string command = "veltra";
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    command += " " + app->get_name();
  }
  // The parser misses a command before it minds what stands in its place.
  const std::vector<std::string> rest = app->remaining();
  if (app->get_require_subcommand_min() > 0 && !rest.empty()) {
    return fmt::format("veltra: \"{}\" is no {}; see {} --help.\n", rest.front(),
                       rest.front().starts_with('-') ? "option" : "command", command);
  }
  return fmt::format("veltra: {}; see {} --help.\n", error.what(), command);
}

// Gives what was asked for, help or the version, or tells what is wrong with the
// command line. Throws user_error (output_failed) if standard output does not take it.
veltra::host::exit_code answer(const CLI::App& app, const CLI::ParseError& error) {
  std::ostringstream asked;
  // CLI11 returns 0 for help and the version; everything else is usage.
  if (app.exit(error, asked, std::cerr) != 0) return veltra::host::exit_code::usage;
  veltra::host::print(asked.str());
  return veltra::host::exit_code::ok;
}

}  // namespace

int main(int argc, char** argv) {
  using veltra::host::exit_code;

  const platform::console_setup console;
  const std::vector<std::string> arguments = platform::utf8_arguments(argc, argv);
  std::vector<const char*> words;
  for (const std::string& argument : arguments) words.push_back(argument.c_str());

  CLI::App app{"veltra - turns the trace of an LTE modem into a capture that Wireshark dissects",
               "veltra"};
  app.require_subcommand(1);
  app.set_version_flag("--version", "veltra " VELTRA_VERSION);
  app.allow_windows_style_options(false);  // the commands inherit it: /dir/file is a path
  app.failure_message(usage_failure);
  veltra::host::command chosen;
  veltra::host::add_decode_command(app, chosen);
  veltra::host::add_capture_command(app, chosen);
  veltra::host::add_devices_command(app, chosen);
  veltra::host::add_db_command(app, chosen);
  veltra::host::add_simulate_command(app, chosen);

  try {
    try {
      app.parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::ParseError& error) {
      return static_cast<int>(answer(app, error));
    }
    return static_cast<int>(chosen());
  } catch (const veltra::host::user_error& error) {
    std::fprintf(stderr, "veltra: %s\n",
                 veltra::host::sanitize(platform::utf8_message(error.what())).c_str());
    return static_cast<int>(error.code());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "veltra: internal error: %s; please report it with the command line.\n",
                 platform::utf8_message(error.what()).c_str());
    return static_cast<int>(exit_code::internal);
  }
}
