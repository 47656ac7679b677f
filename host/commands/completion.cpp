#include "host/commands/completion.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "host/commands/help_format.h"
#include "platform/file.h"
#include "platform/serial_devices.h"

namespace veltra::host {

namespace {

const CLI::Option* find_option(const CLI::App& app, const std::string& name) {
  for (const CLI::Option* const option : app.get_options()) {
    const std::vector<std::string> names = option_names(*option);
    if (std::find(names.begin(), names.end(), name) != names.end()) return option;
  }
  return nullptr;
}

std::vector<candidate> values_of(const CLI::Option& option) {
  std::vector<candidate> values;
  for (const std::string& choice : choices(option)) values.push_back({choice, {}});
  if (value_name(option) == "DEV") {
    for (const platform::serial_device& device : platform::list_serial_devices()) {
      values.push_back({platform::path_to_utf8(device.path), device.product});
    }
  }
  return values;
}

std::vector<candidate> options_of(const CLI::App& app) {
  std::vector<candidate> options;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option_names(*option)) {
      options.push_back({name, option->get_description()});
    }
  }
  return options;
}

std::vector<candidate> commands_of(const CLI::App& app) {
  std::vector<candidate> commands;
  for (const std::string& name : command_names(app)) {
    commands.push_back({name, find_command(app, name)->get_description()});
  }
  return commands;
}

std::vector<candidate> arguments_of(const CLI::App& app) {
  for (const CLI::Option* const option : app.get_options()) {
    if (option->get_positional()) return values_of(*option);
  }
  return {};
}

std::vector<candidate> all_candidates(const CLI::App& root, const std::vector<std::string>& words) {
  const CLI::App* app = &root;
  const CLI::Option* pending = nullptr;  // wants the next word as its value
  // "help db" offers what "db" does.
  bool asks_for_help = false;
  for (auto word = words.begin(); word + 1 != words.end(); ++word) {
    const CLI::Option* const option = find_option(*app, *word);
    const CLI::App* const below = find_command(*app, *word);
    if (pending != nullptr) {
      pending = nullptr;
    } else if (option != nullptr) {
      pending = takes_value(*option) ? option : nullptr;
    } else if (app == &root && *word == "help") {
      asks_for_help = true;
    } else if (below != nullptr) {
      app = below;
    }
  }
  if (words.back().starts_with('-')) {
    return options_of(asks_for_help ? *find_command(root, "help") : *app);
  }
  if (pending != nullptr) return values_of(*pending);
  if (asks_for_help || !command_names(*app).empty()) return commands_of(*app);
  return arguments_of(*app);
}

}  // namespace

std::vector<candidate> complete(const CLI::App& root, const std::vector<std::string>& words) {
  if (words.empty()) return {};
  std::vector<candidate> candidates = all_candidates(root, words);
  std::erase_if(candidates,
                [&](const candidate& each) { return !each.word.starts_with(words.back()); });
  return candidates;
}

std::string format_candidates(const std::vector<candidate>& candidates) {
  std::string lines;
  for (const candidate& each : candidates) {
    lines += fmt::format("{}\t{}\n", each.word, each.description);
  }
  return lines;
}

}  // namespace veltra::host
