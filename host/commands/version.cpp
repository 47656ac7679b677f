#include <fmt/format.h>

#include <filesystem>

#include "host/commands/commands.h"
#include "host/run/run_provenance.h"
#include "host/source/plugin_library.h"
#include "host/user_error.h"

namespace veltra::host {

namespace {

std::string describe_parts() {
  std::string text;
  try {
    for (const fact& each : describe_program(plugin_library(std::filesystem::path()))) {
      text += fmt::format("\n{}", to_comment(each));
    }
  } catch (const user_error& error) {
    text = fmt::format("\nplug-in: {}", error.what());
  }
  return text;
}

}  // namespace

std::string describe_version(bool verbose) {
  return fmt::format("veltra {}{}", VELTRA_VERSION, verbose ? describe_parts() : std::string());
}

}  // namespace veltra::host
