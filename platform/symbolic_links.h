// symbolic_links.h - where a name leads to.
#pragma once

#include <filesystem>
#include <system_error>

namespace platform {

// Returns the name that the symbolic link `name` leads to, whether such a file exists or
// not; a name that is not a link is returned as it is. Sets `error` if links form a circle
// or cannot be read, and returns the last name reached. Any thread.
std::filesystem::path resolve_symlinks(std::filesystem::path name, std::error_code& error);

}  // namespace platform
