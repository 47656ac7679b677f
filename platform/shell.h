// shell.h - command lines that a person copies into the system's shell.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// `text` (UTF-8) as one word of a command line, quoted if it has to be: for a POSIX
// shell, or for the command prompt of Windows, where a name between percent signs is
// replaced whatever is around it.
std::string shell_word(std::string_view text);

}  // namespace platform
