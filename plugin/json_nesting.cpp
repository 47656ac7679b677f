#include "plugin/json_nesting.h"

namespace veltra {

namespace {

// The position behind the string whose first character is at `at`.
std::size_t end_of_string(std::string_view text, std::size_t at) noexcept {
  while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2U : 1U;
  return at + 1;
}

}  // namespace

bool nested_deeper_than(std::string_view text, std::size_t levels) noexcept {
  std::size_t depth = 0;
  for (std::size_t at = 0; at < text.size();) {
    switch (text[at++]) {
      case '"':
        at = end_of_string(text, at);
        break;
      case '[':
      case '{':
        if (++depth > levels) return true;
        break;
      case ']':
      case '}':
        if (depth > 0) --depth;
        break;
      default:
        break;
    }
  }
  return false;
}

}  // namespace veltra
