#include "host/console.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>

#include "host/output/output_failure.h"

namespace veltra::host {

namespace {

bool is_continuation(unsigned char byte) {
  return byte >= 0x80 && byte < 0xC0;
}

// Bytes of the UTF-8 character that begins with `first`; 1 for a byte that begins none.
std::size_t length_of_character(unsigned char first) {
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  if (first >= 0xF0 && first < 0xF5) return 4;
  return 1;
}

}  // namespace

std::string sanitize(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  const auto at = [&](std::size_t place) -> unsigned char {
    return place < text.size() ? static_cast<unsigned char>(text[place]) : 0;
  };
  for (std::size_t place = 0; place < text.size();) {
    std::size_t length = length_of_character(at(place));
    for (std::size_t next = 1; next < length; ++next) {
      if (!is_continuation(at(place + next))) length = 1;
    }
    const unsigned char first = at(place);
    const bool is_control = length == 1
                                ? first < 0x20 || first == 0x7F || (first >= 0x80 && first < 0xA0)
                                : first == 0xC2 && at(place + 1) < 0xA0;
    result += is_control ? "?" : text.substr(place, length);
    place += length;
  }
  return result;
}

void print_message(std::string_view text) noexcept {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw output_failure("cannot write", "-", errno);
  }
}

}  // namespace veltra::host
