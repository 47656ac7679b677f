#include "platform/windows/text.h"

#include <iterator>
#include <limits>
#include <stdexcept>

#include "platform/windows/system.h"

namespace platform {

namespace {

int length_for_system(std::size_t length) {
  if (length > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw std::length_error("a text is too long to be converted");
  }
  return static_cast<int>(length);
}

}  // namespace

std::wstring to_wide(std::string_view utf8) {
  if (utf8.empty()) return {};
  const int length = length_for_system(utf8.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), needed);
  return wide;
}

std::string to_utf8(std::wstring_view wide) {
  if (wide.empty()) return {};
  const int length = length_for_system(wide.size());
  const int needed =
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), needed, nullptr, nullptr);
  return utf8;
}

std::string describe_system_error(unsigned long code) {
  // A message is a line or two; what does not fit fails and is reported by its number.
  wchar_t text[1024];
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                     text, static_cast<DWORD>(std::size(text)), nullptr);
  std::string description = to_utf8({text, length});
  description.erase(description.find_last_not_of(". \r\n") + 1);
  return description.empty() ? "system error " + std::to_string(code) : description;
}

}  // namespace platform
