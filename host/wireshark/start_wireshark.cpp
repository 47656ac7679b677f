#include "host/wireshark/start_wireshark.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "host/user_error.h"
#include "host/wireshark/installation.h"
#include "platform/environment.h"
#include "platform/process.h"
#include "platform/wireshark_folders.h"

namespace veltra::host {

namespace {

std::string program_name() {
  const std::string named = platform::find_environment_variable("VELTRA_WIRESHARK").value_or("");
  return named.empty() ? "wireshark" : named;
}

// Wireshark does not start with a profile that it does not find.
bool has_profile() {
  std::error_code ignored;
  return std::filesystem::is_directory(
             platform::personal_wireshark_folders().profiles / profile_name, ignored) ||
         std::filesystem::is_directory(platform::system_wireshark_folders().profiles / profile_name,
                                       ignored);
}

using starter = void(const std::filesystem::path&, const std::vector<std::string>&);

void start(starter* start_program, const std::vector<std::string>& shown) {
  std::vector<std::string> arguments;
  if (has_profile()) arguments = {"-C", profile_name};
  arguments.insert(arguments.end(), shown.begin(), shown.end());

  const std::string name = program_name();
  const auto fail = [&name](const std::error_code& error) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} cannot be started ({}); install Wireshark, or name the "
                                 "program in the environment variable VELTRA_WIRESHARK.",
                                 name, error.message()));
  };
  const std::filesystem::path program = platform::find_program(name);
  if (program.empty()) fail(std::make_error_code(std::errc::no_such_file_or_directory));
  try {
    start_program(program, arguments);
  } catch (const std::system_error& error) {
    fail(error.code());
  }
}

}  // namespace

void show_in_wireshark(const std::string& file) {
  start(platform::start_program, {"-r", file});
}

void show_stdout_in_wireshark() {
  start(platform::start_reader_of_stdout, {"-k", "-i", "-"});
}

}  // namespace veltra::host
