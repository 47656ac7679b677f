// console.h - what a command says to a person, and what it gives to a program.
#pragma once

#include <string>
#include <string_view>

namespace veltra::host {

// Shows text on stderr. Best effort; errors are ignored. Any thread.
void print_message(std::string_view text) noexcept;

// Writes a result to standard output, to the last byte. Throws user_error
// (output_failed) if it is not taken.
void print(std::string_view text);

// Control sequences are those of ECMA-48 and DEC STD 070, which every terminal emulator
// knows.

// Takes the line off the terminal: carriage return, erase to the end of the line (EL).
inline constexpr std::string_view wiped_line = "\r\x1b[K";

// Draws `text` in the place of what was drawn before. A text that is wider than the
// terminal is cut at its edge: it would wrap, and the next one could wipe its last
// row only. So wrapping (DECAWM) is off while the line is drawn.
inline std::string drawn_line(std::string_view text) {
  constexpr std::string_view no_wrap = "\x1b[?7l";
  constexpr std::string_view wrap = "\x1b[?7h";
  std::string line(no_wrap);
  line += wiped_line;
  line += text;
  line += wrap;
  return line;
}

// `text` with '?' for each control character: texts from outside must not control the
// terminal. They are those of ASCII and U+0080 to U+009F (ECMA-48, C1), in UTF-8 and, for
// a terminal of another encoding, as a byte where no character of UTF-8 goes on.
std::string sanitize(std::string_view text);

}  // namespace veltra::host
