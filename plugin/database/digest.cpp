#include "plugin/database/digest.h"

#include "platform/sha256.h"

namespace veltra {

std::string sha256_hex(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  const platform::sha256_digest digest = platform::sha256(bytes);
  std::string text;
  text.reserve(2 * digest.size());
  for (const unsigned byte : digest) {
    text += digits[byte >> 4U];
    text += digits[byte & 0x0FU];
  }
  return text;
}

bool database_file_intact(std::string_view bytes, std::string_view expected) {
  return sha256_hex(bytes) == expected;
}

}  // namespace veltra
