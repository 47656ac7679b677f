#include "plugin/database/digest.h"

#include "base/hex.h"
#include "platform/sha256.h"

namespace veltra {

std::string sha256_hex(std::string_view bytes) {
  std::string text;
  append_hex(text, platform::sha256(bytes));
  return text;
}

bool database_file_intact(std::string_view bytes, std::string_view expected) {
  return sha256_hex(bytes) == expected;
}

}  // namespace veltra
