// uuid.h - the UUID of a trace database, RFC 9562.
#pragma once

#include <string>
#include <string_view>

namespace veltra::host {

// Whether `text` is a UUID in the usual form: 8-4-4-4-12 hexadecimal digits, of
// either letter case.
bool is_uuid(std::string_view text) noexcept;

// Returns a UUID of version 8 in lower case that depends on nothing but
// `content`: equal content has equal UUIDs, on every machine.
std::string uuid_of_content(std::string_view content);

}  // namespace veltra::host
