// digest.h - telling an intact database file from a damaged one.
#pragma once

#include <string>
#include <string_view>

namespace veltra {

// The SHA-256 digest (FIPS 180-4) of `bytes` as 64 lower-case hexadecimal digits.
std::string sha256_hex(std::string_view bytes);

// True if `expected` is exactly sha256_hex(`bytes`). Digits in upper case, blanks
// or a prefix never match: a catalogue writes its digests in one form only.
bool database_file_intact(std::string_view bytes, std::string_view expected);

}  // namespace veltra
