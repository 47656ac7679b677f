#include "host/report/html_text.h"

#include <cstddef>
#include <cstdint>

namespace veltra::report {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// The length of the character at the start of `text` in UTF-8 (RFC 3629); 0 if it is not one.
std::size_t character_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms, surrogates, and what is beyond the last character.
  if (first == 0xE0 && byte(1) < 0xA0) return 0;
  if (first == 0xED && byte(1) > 0x9F) return 0;
  if (first == 0xF0 && byte(1) < 0x90) return 0;
  if (first == 0xF4 && byte(1) > 0x8F) return 0;
  return length;
}

}  // namespace

std::string escape_html(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    const std::string_view character = text.substr(0, length == 0 ? 1 : length);
    text.remove_prefix(character.size());
    const auto first = static_cast<unsigned char>(character.front());
    if (length == 0 || (length == 1 && ((first < 0x20 && first != '\n') || first == 0x7F))) {
      result += replacement;
    } else if (first == '&') {
      result += "&amp;";
    } else if (first == '<') {
      result += "&lt;";
    } else if (first == '>') {
      result += "&gt;";
    } else if (first == '"') {
      result += "&quot;";
    } else if (first == '\'') {
      result += "&#39;";
    } else {
      result += character;
    }
  }
  return result;
}

std::string escape_script_json(std::string_view json) {
  std::string result;
  result.reserve(json.size());
  for (const char each : json) {
    if (each == '<') {
      result += "\\u003c";
    } else {
      result += each;
    }
  }
  return result;
}

std::string base64(std::string_view bytes) {
  constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  result.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = bytes.size() - at < 3 ? bytes.size() - at : 3;
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8U | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      result += i <= count ? digits[group >> (18 - 6 * i) & 0x3FU] : '=';
    }
  }
  return result;
}

}  // namespace veltra::report
