#include "platform/shell.h"

namespace platform {

std::string shell_word(std::string_view text) {
  constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+./:,@%";
  if (!text.empty() && text.find_first_not_of(plain) == std::string_view::npos) {
    return std::string(text);
  }
  std::string word = "'";
  for (const char each : text) {
    if (each == '\'') {
      word += "'\\''";
    } else {
      word += each;
    }
  }
  return word + "'";
}

}  // namespace platform
