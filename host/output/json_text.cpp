#include "host/output/json_text.h"

#include <algorithm>
#include <charconv>

#include "base/hex.h"
#include "implementation/json.h"

namespace veltra::host {

namespace {

bool is_ascii(std::string_view text) {
  return std::none_of(text.begin(), text.end(),
                      [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

// The letter behind the backslash; 0 for a character that has none.
char short_escape(char c) {
  switch (c) {
    case '"':
    case '\\':
      return c;
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

void append_ascii(std::string& to, char c) {
  if (const char letter = short_escape(c)) {
    to += '\\';
    to += letter;
  } else if (const auto byte = static_cast<std::uint8_t>(c); byte < 0x20) {
    to += "\\u00";
    append_hex(to, {&byte, 1});
  } else {
    to += c;
  }
}

}  // namespace

void append_json_text(std::string& to, std::string_view text) {
  if (!is_ascii(text)) {
    using kovax::json;
    to += json(text).dump(-1, ' ', false, json::error_handler_t::replace);
    return;
  }
  to += '"';
  for (const char c : text) append_ascii(to, c);
  to += '"';
}

void append_json_number(std::string& to, std::uint64_t number) {
  char digits[20];  // of the largest
  to.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace veltra::host
