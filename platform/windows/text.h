// text.h - between the UTF-8 of every interface and the UTF-16 that Windows keeps.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// What has no form on the other side (bytes that are not UTF-8, half of a surrogate
// pair) becomes U+FFFD, so a name with such a part is not found rather than taken
// for another. Any thread. Throws std::length_error beyond 2 GiB.
std::wstring to_wide(std::string_view utf8);
std::string to_utf8(std::wstring_view wide);

// The system's description of one of its error codes (GetLastError()) in the
// user's language, without the full stop and line break at its end. Any thread.
std::string describe_system_error(unsigned long code);

}  // namespace platform
