#include "host/report/field_values.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace veltra::report {

namespace {

std::optional<std::uint64_t> parse_number(std::string_view text) {
  // From tshark 4.2 on, Boolean fields are words.
  if (text == "True") return 1;
  if (text == "False") return 0;
  int base = 10;
  if (text.starts_with("0x")) {
    text.remove_prefix(2);
    base = 16;
  }
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

}  // namespace

std::optional<std::uint64_t> field_values::number(field which) const {
  return parse_number(text(which));
}

std::vector<std::string_view> field_values::texts(field which) const {
  std::vector<std::string_view> result;
  for (const auto& [key, value] : values_) {
    if (key == which) result.push_back(value);
  }
  return result;
}

std::vector<std::uint64_t> field_values::numbers(field which) const {
  std::vector<std::uint64_t> result;
  for (const auto& [key, value] : values_) {
    if (key != which) continue;
    if (const auto number = parse_number(value)) result.push_back(*number);
  }
  return result;
}

bool field_values::has_number(field which, std::uint64_t number) const {
  return std::any_of(values_.begin(), values_.end(), [&](const auto& each) {
    return each.first == which && parse_number(each.second) == number;
  });
}

}  // namespace veltra::report
