#include "platform/shell.h"

namespace platform {

namespace {

// Nothing that the prompt or a program's start code splits or replaces.
bool is_plain(char each) {
  constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+./:\\@~";
  const bool ascii = static_cast<unsigned char>(each) < 0x80;
  return !ascii || plain.find(each) != std::string_view::npos;
}

}  // namespace

std::string shell_word(std::string_view text) {
  bool plain = !text.empty();
  for (const char each : text) plain = plain && is_plain(each);
  if (plain) return std::string(text);

  // Backslashes count only before a quotation mark, and then twice ("Parsing C
  // command-line arguments" in the system's reference).
  std::string word = "\"";
  std::size_t backslashes = 0;
  for (const char each : text) {
    if (each == '"') word.append(backslashes + 1, '\\');
    backslashes = each == '\\' ? backslashes + 1 : 0;
    word += each;
  }
  word.append(backslashes, '\\');
  return word + "\"";
}

}  // namespace platform
