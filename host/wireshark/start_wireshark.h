// start_wireshark.h - Wireshark's window beside a command.
#pragma once

#include <string>

namespace veltra::host {

// Both start the program that VELTRA_WIRESHARK names, otherwise "wireshark", with the profile
// for LTE modems if the person has it, and do not wait for it. Throw user_error (bad_input)
// if it cannot be started.

// Shows a capture file (UTF-8 name).
void show_in_wireshark(const std::string& file);

// Shows what this process writes to standard output from now on.
void show_stdout_in_wireshark();

}  // namespace veltra::host
