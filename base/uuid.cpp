#include "base/uuid.h"

namespace veltra {

namespace {

constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
static_assert(form.size() == uuid_size);

constexpr bool is_hex_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

bool is_uuid(std::string_view text) noexcept {
  if (text.size() != uuid_size) return false;
  for (std::size_t i = 0; i < uuid_size; ++i) {
    if (form[i] == '-' ? text[i] != '-' : !is_hex_digit(text[i])) return false;
  }
  return true;
}

}  // namespace veltra
