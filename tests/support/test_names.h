// test_names.h - names of parameterised tests, made of their values.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace test_support {

template <typename Value>
struct is_tuple : std::false_type {};
template <typename... Elements>
struct is_tuple<std::tuple<Elements...>> : std::true_type {};

// A value as text. A record needs a PrintTo() in its namespace, as GoogleTest has it.
template <typename Value>
std::string value_text(const Value& value) {
  if constexpr (std::is_convertible_v<const Value&, std::string_view>) {
    return std::string(std::string_view(value));
  } else if constexpr (is_tuple<Value>::value) {
    return std::apply([](const auto&... elements) { return ((value_text(elements) + "_") + ...); },
                      value);
  } else {
    return testing::PrintToString(value);
  }
}

// A name generator for INSTANTIATE_TEST_SUITE_P: the position, which keeps the
// name unique, and what a test's name can hold of the value.
struct named_by_value {
  template <typename Value>
  std::string operator()(const testing::TestParamInfo<Value>& information) const {
    constexpr std::size_t longest = 40;
    std::string name = std::to_string(information.index);
    bool gap = true;
    for (const char character : value_text(information.param)) {
      if (name.size() >= longest) break;
      if (std::isalnum(static_cast<unsigned char>(character)) == 0) {
        gap = true;
        continue;
      }
      if (gap) name += '_';
      name += character;
      gap = false;
    }
    return name;
  }
};

}  // namespace test_support
