#include "host/wireshark/start_wireshark.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "host/user_error.h"
#include "host/wireshark/installation.h"
#include "platform/environment.h"
#include "platform/program.h"
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

std::vector<std::string> command_line(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {program_name()};
  if (has_profile()) words.insert(words.end(), {"-C", profile_name});
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

void check(std::error_code error) {
  if (!error) return;
  throw user_error(exit_code::bad_input,
                   fmt::format("{} cannot be started ({}); install Wireshark, or name the program "
                               "in the environment variable VELTRA_WIRESHARK.",
                               program_name(), error.message()));
}

}  // namespace

void show_in_wireshark(const std::string& file) {
  check(platform::start_program(command_line({"-r", file})));
}

void show_stdout_in_wireshark() {
  check(platform::start_reader_of_stdout(command_line({"-k", "-i", "-"})));
}

}  // namespace veltra::host
