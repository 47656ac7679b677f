// process.h - another program, run to its end.
#pragma once

#include <filesystem>
#include <string>

namespace platform {

// Runs `command` (UTF-8, for the system's shell) with `argument` as one more word behind
// it and waits for its end. It reads nothing, and what it prints goes to this process's
// stderr. Returns its exit code, 128 and the signal's number for one that was killed
// (POSIX), or -1 if it could not be started. Any thread.
int run_command(const std::string& command, const std::filesystem::path& argument);

}  // namespace platform
