#include "platform/shell.h"

#include <stdlib.h>

#include "platform/file.h"

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

int run_command(const std::string& command, const std::filesystem::path& argument) {
  // The command prompt takes the quotes around the whole line away.
  const std::string line =
      "\"" + command + " " + shell_word(path_to_utf8(argument)) + " <nul 1>&2\"";
  return _wsystem(path_from_utf8(line).c_str());
}

}  // namespace platform
