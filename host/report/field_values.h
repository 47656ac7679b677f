// field_values.h - what tshark said about one frame.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/report/tshark_fields.h"

namespace veltra::report {

// The fields that a frame has, each with its values in the frame's order. A field without a
// value of its own, such as the element of a message, has the value "1". Cheap to move.
class field_values {
 public:
  void add(field which, std::string value) { values_.emplace_back(which, std::move(value)); }
  void clear() { values_.clear(); }

  bool has(field which) const { return first(which) != nullptr; }

  // The first value, empty if there is none.
  std::string_view text(field which) const {
    const std::string* const value = first(which);
    return value != nullptr ? std::string_view(*value) : std::string_view();
  }

  // The first value as a number, decimal or with 0x hexadecimal; nothing if it is not one.
  std::optional<std::uint64_t> number(field which) const;

  std::vector<std::string_view> texts(field which) const;
  std::vector<std::uint64_t> numbers(field which) const;

  // Whether one of the values is this number.
  bool has_number(field which, std::uint64_t number) const;

 private:
  const std::string* first(field which) const {
    for (const auto& [key, value] : values_) {
      if (key == which) return &value;
    }
    return nullptr;
  }

  std::vector<std::pair<field, std::string>> values_;
};

}  // namespace veltra::report
