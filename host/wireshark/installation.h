// installation.h - `veltra` among Wireshark's interfaces, and its profile for LTE modems.
#pragma once

#include <filesystem>
#include <string>

#include "platform/wireshark_folders.h"

namespace veltra::host {

// What is installed where. A file of the profile that is unlike the one of this version
// has been changed by the person, or by Wireshark for them.
struct wireshark_installation {
  std::filesystem::path program;            // of which launchers are made
  std::filesystem::path profile;            // the directory of the profile's files
  platform::wireshark_folders destination;  // where both go
  // Where the launcher may be for all users; empty if the destination is that.
  platform::wireshark_folders for_all_users;
};

inline constexpr const char* profile_name = "LTE modem";

// That of the running program, for this person or for all users. Throws user_error
// (bad_input) if the profile's files are not found beside the program, and if there is no
// home or no Wireshark to install into.
wireshark_installation find_installation(bool for_all_users);

// Each returns lines that say what was done or is there. Throw user_error (output_failed)
// for what cannot be written.

// Makes the launchers and copies the profile. Changed files of a profile stay, unless
// `overwrite`. Launchers that exist for all users are enough: twice the same interface is
// an error for Wireshark.
std::string install(const wireshark_installation& installation, bool overwrite);

// Removes the launchers of this program, and the profile unless it was changed.
std::string uninstall(const wireshark_installation& installation);

std::string describe(const wireshark_installation& installation);

}  // namespace veltra::host
