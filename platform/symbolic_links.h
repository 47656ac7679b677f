// symbolic_links.h - where a name leads to.
#pragma once

#include <filesystem>
#include <system_error>

namespace platform {

// Follows the symbolic links that stand in the place of `name`, whether there is
// something at their end or not; a name that is no link leads to itself. Sets `error` if
// they lead round in a circle or cannot be read, and returns how far it came. Any thread.
std::filesystem::path end_of_links(std::filesystem::path name, std::error_code& error);

}  // namespace platform
