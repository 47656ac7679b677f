// uuid.h - the text form of a UUID, RFC 9562.
#pragma once

#include <cstddef>
#include <string_view>

namespace veltra {

// Characters of a UUID in its text form.
inline constexpr std::size_t uuid_size = 36;

// True if `text` has the form 8-4-4-4-12 in hexadecimal digits of either case. Any thread.
bool is_uuid(std::string_view text) noexcept;

}  // namespace veltra
