// defaults.h - what options have when the command line does not give them.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace veltra::host {

struct default_value {
  std::vector<std::string> command;  // whose option it is; empty: of each that has it
  std::string option;                // the long name without its dashes
  std::vector<std::string> values;   // empty: none, whatever comes later says
  std::string origin;                // a variable of the environment, or a file
};

struct configuration_file {
  std::string name;
  bool is_there = false;
};

struct defaults {
  std::vector<default_value> values;  // of two for one option the first counts
  std::vector<configuration_file> files;
};

// The options that a variable of the environment has a default for, and its name.
struct default_variable {
  const char* option;
  const char* name;
};
inline constexpr default_variable default_variables[] = {{"cache", "VELTRA_CACHE"},
                                                         {"location", "VELTRA_LOCATION"},
                                                         {"root", "VELTRA_ROOT"},
                                                         {"plugin", "VELTRA_PLUGIN"}};
// Names the one configuration file to read; empty: none.
inline constexpr const char* configuration_variable = "VELTRA_CONFIG";

// Those of the environment, of this person's configuration file and of the machine's, in this
// order. Configuration files are TOML as CLI11 reads it: an option's long name and its value,
// in a section [COMMAND] if only that command is to have it. Throws user_error (bad_input)
// for a file that cannot be read and for a name that is not an option of a command of `root`.
defaults read_defaults(const CLI::App& root);

// `arguments` with the defaults of the command that they name, as if they were typed.
// `typed` is the parser that has read them. A default gives way to an option that excludes
// it, and does not come without an option that it needs.
std::vector<std::string> add_defaults(const std::vector<std::string>& arguments,
                                      const CLI::App& typed, const defaults& defaults);

}  // namespace veltra::host
