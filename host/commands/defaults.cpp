#include "host/commands/defaults.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "host/commands/help_format.h"
#include "host/commands/suggestion.h"
#include "host/user_error.h"
#include "platform/environment.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

user_error configuration_error(const std::string& file, const std::string& reason) {
  return {exit_code::bad_input, fmt::format("{}: {}", file, reason)};
}

// The commands below `app` that have options, with `app` itself.
void collect_commands(const CLI::App& app, std::vector<const CLI::App*>& commands) {
  commands.push_back(&app);
  for (const std::string& name : command_names(app)) {
    collect_commands(*find_command(app, name), commands);
  }
}

// Throws if `value` is of an option that its command, or every command, lacks.
void check_default(const default_value& value, const CLI::App& root) {
  const CLI::App* app = &root;
  for (const std::string& name : value.command) {
    const CLI::App* const below = find_command(*app, name);
    if (below == nullptr) {
      throw configuration_error(
          value.origin, fmt::format("[{}] is not a command{}", fmt::join(value.command, "."),
                                    suggest(name, command_names(*app), "veltra --help")));
    }
    app = below;
  }
  std::vector<const CLI::App*> commands;
  if (value.command.empty()) {
    collect_commands(root, commands);
  } else {
    commands.push_back(app);
  }
  std::vector<std::string> names;
  for (const CLI::App* const each : commands) {
    for (const std::string& name : long_option_names(*each)) names.push_back(name.substr(2));
  }
  if (std::find(names.begin(), names.end(), value.option) != names.end()) return;
  throw configuration_error(
      value.origin,
      fmt::format("\"{}\" is not an option{}{}", value.option,
                  value.command.empty() ? "" : fmt::format(" of {}", fmt::join(value.command, " ")),
                  suggest(value.option, names, "veltra help COMMAND")));
}

// What the file sets; what is for one command comes before what is for all.
std::vector<default_value> read_file(const std::filesystem::path& file) {
  const std::string name = platform::path_to_utf8(file);
  std::ifstream text(file);
  if (!text) throw configuration_error(name, "cannot be read");
  std::vector<default_value> values;
  for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(text)) {
    // The reader marks the beginning and the end of a section so.
    if (item.name == "++" || item.name == "--") continue;
    values.push_back({item.parents, item.name, item.inputs, name});
  }
  if (text.bad()) throw configuration_error(name, "cannot be read");
  std::stable_sort(values.begin(), values.end(), [](const auto& one, const auto& other) {
    return one.command.size() > other.command.size();
  });
  return values;
}

// Best first.
std::vector<std::filesystem::path> configuration_files() {
  if (const auto only = platform::find_environment_variable(configuration_variable)) {
    if (only->empty()) return {};
    return {platform::path_from_utf8(*only)};
  }
  std::vector<std::filesystem::path> files = platform::configuration_folders();
  for (std::filesystem::path& folder : files) folder = folder / "veltra" / "config.toml";
  return files;
}

bool is_of(const default_value& value, const std::vector<std::string>& command,
           const CLI::Option& option) {
  const std::vector<std::string>& names = option.get_lnames();
  return (value.command.empty() || value.command == command) &&
         std::find(names.begin(), names.end(), value.option) != names.end();
}

// The command that was typed, and the words that name it.
struct typed_command {
  const CLI::App* app;
  std::vector<std::string> names;
};

typed_command command_of(const CLI::App& typed) {
  typed_command command{&typed, {}};
  for (;;) {
    const auto was_typed = [](const CLI::App* each) { return each->count() > 0; };
    const std::vector<const CLI::App*> below = command.app->get_subcommands(was_typed);
    if (below.empty()) return command;
    command.app = below.front();
    command.names.push_back(command.app->get_name());
  }
}

// A default as words; none for a flag that is off.
std::vector<std::string> to_words(const default_value& value, const CLI::Option& option) {
  std::vector<std::string> words;
  for (const std::string& each : value.values) {
    if (!takes_value(option) && each == "false") continue;
    words.push_back(fmt::format("--{}={}", value.option, each));
  }
  return words;
}

}  // namespace

defaults read_defaults(const CLI::App& root) {
  defaults all;
  for (const default_variable& variable : default_variables) {
    const auto text = platform::find_environment_variable(variable.name);
    if (!text) continue;
    default_value value{{}, variable.option, {}, variable.name};
    if (!text->empty()) value.values.push_back(*text);
    all.values.push_back(std::move(value));
  }
  const bool must_be_there =
      platform::find_environment_variable(configuration_variable).has_value();
  for (const std::filesystem::path& file : configuration_files()) {
    std::error_code ignored;
    const bool is_there = must_be_there || std::filesystem::exists(file, ignored);
    all.files.push_back({platform::path_to_utf8(file), is_there});
    if (!is_there) continue;
    for (default_value& value : read_file(file)) {
      check_default(value, root);
      all.values.push_back(std::move(value));
    }
  }
  return all;
}

std::vector<std::string> add_defaults(const std::vector<std::string>& arguments,
                                      const CLI::App& typed, const defaults& defaults) {
  const typed_command command = command_of(typed);
  std::vector<const CLI::Option*> open;
  std::set<const CLI::Option*> given;
  for (const CLI::Option* const option : command.app->get_options()) {
    if (option->count() > 0) {
      given.insert(option);
    } else {
      open.push_back(option);
    }
  }
  const auto is_given = [&](const CLI::Option* each) { return given.contains(each); };

  // A default may come as soon as what it needs is there, which may be another default.
  std::vector<std::string> added;
  for (bool has_grown = true; has_grown;) {
    has_grown = false;
    for (const default_value& value : defaults.values) {
      const auto of_value = [&](const CLI::Option* each) {
        return is_of(value, command.names, *each);
      };
      const auto found = std::find_if(open.begin(), open.end(), of_value);
      if (found == open.end()) continue;
      const CLI::Option* const option = *found;
      const auto needs = option->get_needs();
      const auto excludes = option->get_excludes();
      if (!std::all_of(needs.begin(), needs.end(), is_given)) continue;
      open.erase(found);
      if (std::any_of(excludes.begin(), excludes.end(), is_given)) continue;
      const std::vector<std::string> words = to_words(value, *option);
      if (words.empty()) continue;
      given.insert(option);
      added.insert(added.end(), words.begin(), words.end());
      has_grown = true;
    }
  }

  std::vector<std::string> all = arguments;
  auto behind_command = all.begin();
  for (const std::string& name : command.names) {
    behind_command = std::find(behind_command, all.end(), name) + 1;
  }
  all.insert(behind_command, added.begin(), added.end());
  return all;
}

}  // namespace veltra::host
