// name_option.h - options whose value is the name of something.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace veltra::host {

// Refuses an empty value: it is what a shell makes of a variable that is not set, and
// would pass for an option that was not given.
inline CLI::Option* names_something(CLI::Option* option) {
  return option->check(
      [](const std::string& text) {
        return text.empty() ? std::string("the name is empty") : std::string();
      },
      "");
}

}  // namespace veltra::host
