#include "platform/message.h"

#include <algorithm>
#include <array>

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace platform {

namespace {

// The form of a sequence of UTF-8 (RFC 3629, section 4): its first byte, how long it
// is, and its second byte, which forbids overlong forms and surrogates.
struct sequence_form {
  unsigned char first_from;
  unsigned char first_to;
  std::size_t length;
  unsigned char second_from;
  unsigned char second_to;
};
constexpr std::array<sequence_form, 9> forms{{{0x00, 0x7F, 1, 0, 0},
                                              {0xC2, 0xDF, 2, 0x80, 0xBF},
                                              {0xE0, 0xE0, 3, 0xA0, 0xBF},
                                              {0xE1, 0xEC, 3, 0x80, 0xBF},
                                              {0xED, 0xED, 3, 0x80, 0x9F},
                                              {0xEE, 0xEF, 3, 0x80, 0xBF},
                                              {0xF0, 0xF0, 4, 0x90, 0xBF},
                                              {0xF1, 0xF3, 4, 0x80, 0xBF},
                                              {0xF4, 0xF4, 4, 0x80, 0x8F}}};

bool is_between(unsigned char byte, unsigned char from, unsigned char to) {
  return byte >= from && byte <= to;
}

// The length of the sequence at the start of `text`, 0 if there is none.
std::size_t sequence_length(std::string_view text) {
  const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const auto form = std::find_if(forms.begin(), forms.end(), [&](const sequence_form& each) {
    return is_between(byte(0), each.first_from, each.first_to);
  });
  if (form == forms.end() || form->length > text.size()) return 0;
  if (form->length > 1 && !is_between(byte(1), form->second_from, form->second_to)) return 0;
  for (std::size_t at = 2; at < form->length; ++at) {
    if (!is_between(byte(at), 0x80, 0xBF)) return 0;
  }
  return form->length;
}

// The length of the character of the code page at the start of `text`.
std::size_t character_length(std::string_view text) {
  return text.size() > 1 && IsDBCSLeadByte(static_cast<BYTE>(text[0])) != FALSE ? 2 : 1;
}

std::string from_code_page(std::string_view character) {
  std::array<wchar_t, 4> wide;
  const int length =
      MultiByteToWideChar(CP_ACP, 0, character.data(), static_cast<int>(character.size()),
                          wide.data(), static_cast<int>(wide.size()));
  return to_utf8({wide.data(), static_cast<std::size_t>(length)});
}

}  // namespace

std::string utf8_message(std::string_view what) {
  constexpr std::string_view line_end = "\r\n";
  std::string message;
  message.reserve(what.size());
  while (!what.empty()) {
    if (what.starts_with(line_end)) {
      what.remove_prefix(line_end.size());
      if (!what.empty() && what.front() != ' ') message += ' ';
      continue;
    }
    std::size_t length = sequence_length(what);
    if (length > 0) {
      message += what.substr(0, length);
    } else {
      length = character_length(what);
      message += from_code_page(what.substr(0, length));
    }
    what.remove_prefix(length);
  }
  return message;
}

}  // namespace platform
