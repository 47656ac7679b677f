#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "host/commands/defaults.h"
#include "host/commands/help_format.h"
#include "host/commands/subcommands.h"
#include "host/commands/suggestion.h"
#include "host/console.h"
#include "host/user_error.h"
#include "implementation/json.h"

namespace veltra::host {

namespace {

exit_code show_help(const CLI::App& root, const std::vector<std::string>& names) {
  const CLI::App* app = &root;
  std::string name = root.get_name();
  for (const std::string& each : names) {
    const CLI::App* const below = find_command(*app, each);
    if (below == nullptr) {
      throw user_error(exit_code::usage,
                       fmt::format("\"{}\" is not a command{}", sanitize(each),
                                   suggest(each, command_names(*app), name + " --help")));
    }
    app = below;
    name += " " + each;
  }
  print(format_help(*app, name));
  return exit_code::ok;
}

// The defaults that count: the first of each, and the options with a variable of their own
// that have none.
std::vector<default_value> effective_defaults(const defaults& all) {
  std::vector<default_value> effective;
  const auto has = [&](const std::vector<std::string>& command, const std::string& option) {
    for (const default_value& each : effective) {
      if (each.command == command && each.option == option) return true;
    }
    return false;
  };
  for (const default_value& each : all.values) {
    if (!has(each.command, each.option)) effective.push_back(each);
  }
  for (const default_variable& variable : default_variables) {
    if (!has({}, variable.option)) effective.push_back({{}, variable.option, {}, {}});
  }
  return effective;
}

std::string format_defaults(const defaults& all) {
  std::string text;
  for (const default_value& each : effective_defaults(all)) {
    const std::string option = fmt::format("{}{}{}", fmt::join(each.command, " "),
                                           each.command.empty() ? "" : " ", each.option);
    const std::string value =
        each.values.empty() ? "-" : fmt::format("{}", fmt::join(each.values, " "));
    text += fmt::format("{:<24} {:<40} {}\n", option, value,
                        each.origin.empty() ? "not set" : each.origin);
  }
  for (const configuration_file& file : all.files) {
    text +=
        fmt::format("{:<24} {:<40} {}\n", "file", file.name, file.is_there ? "read" : "not there");
  }
  return text;
}

std::string format_defaults_as_json(const defaults& all) {
  kovax::json values = kovax::json::array();
  for (const default_value& each : effective_defaults(all)) {
    values.push_back({{"command", each.command},
                      {"option", each.option},
                      {"values", each.values},
                      {"origin", each.origin}});
  }
  kovax::json files = kovax::json::array();
  for (const configuration_file& file : all.files) {
    files.push_back({{"name", file.name}, {"is_there", file.is_there}});
  }
  return kovax::json{{"values", values}, {"files", files}}.dump(2) + "\n";
}

}  // namespace

void add_help_command(CLI::App& parent, command& chosen) {
  CLI::App* const app = parent.add_subcommand("help", "Show the help of a command");
  const auto names = std::make_shared<std::vector<std::string>>();
  app->add_option("COMMAND", *names, "Such as decode, or db list")->type_name("COMMAND");
  app->callback([&parent, names, &chosen] {
    chosen = [&parent, names] { return show_help(parent, *names); };
  });
}

void add_config_command(CLI::App& parent, command& chosen) {
  CLI::App* const app = parent.add_subcommand(
      "config", "Show what options have when they are not given, and where that comes from");
  const auto as_json = std::make_shared<bool>(false);
  app->add_flag("--json", *as_json, "For programs: a JSON object");
  app->callback([&parent, as_json, &chosen] {
    chosen = [&parent, as_json] {
      const defaults all = read_defaults(parent);
      print(*as_json ? format_defaults_as_json(all) : format_defaults(all));
      return exit_code::ok;
    };
  });
}

}  // namespace veltra::host
