// help_format.h - what --help prints, and what the parser knows of an option.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace veltra::host {

// The help of a command, in lines of at most 100 columns: what it does, its usage, arguments,
// options by group, commands by group, and the footer, which has examples. `name` is how the
// command is called, such as "veltra db list".
std::string format_help(const CLI::App& app, const std::string& name);

// The command of this name below `app`; null if there is none. Commands without a group are
// not shown and not found.
const CLI::App* find_command(const CLI::App& app, const std::string& name);
std::vector<std::string> command_names(const CLI::App& app);

// The names of the options as they are typed, each option's short one first.
std::vector<std::string> option_names(const CLI::Option& option);
// Those of all options of a command, the long ones only.
std::vector<std::string> long_option_names(const CLI::App& app);

bool takes_value(const CLI::Option& option);
// The values that an option or argument may have, if they are a few names.
std::vector<std::string> choices(const CLI::Option& option);
// What --help shows for a value, such as FILE; without choices.
std::string value_name(const CLI::Option& option);

}  // namespace veltra::host
