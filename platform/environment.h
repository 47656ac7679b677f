// environment.h - the process environment, and where it says that settings are.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// Looks an environment variable up: first as the C library knows it, then, on
// a system that keeps its own list, as the system knows it. Returns a copy of
// its value in UTF-8, which may be empty, or nothing when it is not set. A name
// that is empty or holds a NUL is never set. Must not run while another thread
// changes the environment.
std::optional<std::string> find_environment_variable(const std::string& name);

// The folders in which programs keep configuration files, this person's before the machine's:
// that of the XDG Base Directory Specification and /etc, on Windows %APPDATA% and
// %ProgramData%. A person without a home has none.
std::vector<std::filesystem::path> configuration_folders();

}  // namespace platform
