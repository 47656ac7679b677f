// wireshark_folders.h - where Wireshark looks for extcap programs and profiles.
#pragma once

#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace platform {

struct wireshark_folders {
  // For programs that Wireshark asks for interfaces; one for each layout of its versions.
  std::vector<std::filesystem::path> extcap;
  // One directory a profile.
  std::filesystem::path profiles;
};

// Those of this person. Empty members if the environment does not name a home.
wireshark_folders personal_wireshark_folders();

// Those for all users, whether or not they exist. `root` replaces the file system's, for
// tests; it has no effect on Windows.
wireshark_folders system_wireshark_folders(const std::filesystem::path& root = "/");

// What starts a program out of an extcap folder: a symbolic link, on Windows a batch file,
// since links need rights there. Of the name `stem`, with the ending that the system wants.
std::filesystem::path launcher_name(std::string_view stem);

// Makes `launcher` start `program`; replaces what make_launcher() made there before. Fails
// with EEXIST for anything else of that name. Returns the failure.
std::error_code make_launcher(const std::filesystem::path& launcher,
                              const std::filesystem::path& program);

// What `launcher` starts, absolute; empty if it is not there or not a launcher.
std::filesystem::path program_of_launcher(const std::filesystem::path& launcher);

}  // namespace platform
