// message.h - the texts of failures.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// What an exception says, as UTF-8. On Windows the standard library describes errors
// of the system in the user's language and code page, while file names and words of
// this tree in the same text are UTF-8: there, text that is not UTF-8 is taken for the code
// page, and the line ends of the system's descriptions (CR LF) are dropped. Elsewhere
// the text is returned as it is. Any thread.
std::string utf8_message(std::string_view what);

}  // namespace platform
