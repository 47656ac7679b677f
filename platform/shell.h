// shell.h - command lines for the system's shell.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

// `text` (UTF-8) as one word of a command line, quoted if it has to be: for a POSIX
// shell, or for the command prompt of Windows, where a name between percent signs is
// replaced whatever is around it.
std::string shell_word(std::string_view text);

// Runs `command` (UTF-8) with `argument` as one more word behind it and waits for its end.
// It reads nothing, and what it prints goes to this process's stderr. Returns its exit
// code, 128 and the signal's number for one that was killed (POSIX), or -1 if it could not
// be started. Any thread.
int run_command(const std::string& command, const std::filesystem::path& argument);

}  // namespace platform
