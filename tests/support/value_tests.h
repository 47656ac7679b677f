// value_tests.h - a test for each of several values: a fixture of its own, and a name.
//
//   class port_test : public testing::Test, public test_support::given_value<int> {};
//
//   TEST_GIVEN(port_test, is_refused) { EXPECT_FALSE(open(given())); }
//
//   GIVEN(numbers, port_test, {0, -1, 65536});
//
// makes the tests numbers/port_test.is_refused/0_0, .../1_1 and .../2_65536. GoogleTest's
// parameterised tests do the same with 150 templates a fixture: compiling those took half
// of the time that a build of such tests took.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <initializer_list>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace test_support {

// What a fixture needs for such tests.
template <typename Value>
class given_value {
 public:
  using value_type = Value;

  // For the fixtures that are made next.
  static void give(const Value* value) { value_ = value; }

 protected:
  static const Value& given() { return *value_; }

 private:
  inline static const Value* value_ = nullptr;
};

template <typename Value>
struct is_tuple : std::false_type {};
template <typename... Elements>
struct is_tuple<std::tuple<Elements...>> : std::true_type {};

// A value as text. A record needs a PrintTo() in its namespace, as GoogleTest has it.
template <typename Value>
std::string value_text(const Value& value) {
  if constexpr (std::is_convertible_v<const Value&, std::string_view>) {
    return std::string(std::string_view(value));
  } else if constexpr (std::is_enum_v<Value>) {
    return std::to_string(static_cast<std::underlying_type_t<Value>>(value));
  } else if constexpr (std::is_arithmetic_v<Value>) {
    return std::to_string(value);
  } else if constexpr (is_tuple<Value>::value) {
    return std::apply([](const auto&... elements) { return ((value_text(elements) + "_") + ...); },
                      value);
  } else {
    std::ostringstream text;
    PrintTo(value, &text);
    return text.str();
  }
}

struct value_test {
  const char* name;
  testing::Test* (*make)();
};

// The tests of a fixture, in the order of their file.
template <typename Fixture>
std::vector<value_test>& tests_of() {
  static std::vector<value_test> tests;
  return tests;
}

template <typename Fixture>
bool add_test(const char* name, testing::Test* (*make)()) {
  tests_of<Fixture>().push_back({name, make});
  return true;
}

// A list of values with their texts, of whatever type they are.
struct value_list {
  std::vector<const void*> values;
  std::vector<std::string> texts;
  void (*give)(const void* value);
};

// Registers each test for each value with GoogleTest.
void register_tests(const std::string& suite, const char* file, int line,
                    const std::vector<value_test>& tests, const value_list& list);

// The values stay for the whole run.
template <typename Fixture>
bool register_values(const char* suite, const char* file, int line,
                     std::vector<typename Fixture::value_type> values) {
  using value = typename Fixture::value_type;
  static std::deque<std::vector<value>> lists;  // of the fixture's groups
  const std::vector<value>& kept = lists.emplace_back(std::move(values));
  value_list list;
  list.give = [](const void* next) { Fixture::give(static_cast<const value*>(next)); };
  for (const value& each : kept) {
    list.values.push_back(&each);
    list.texts.push_back(value_text(each));
  }
  register_tests(suite, file, line, tests_of<Fixture>(), list);
  return true;
}

// Each of the first values with each of the second ones.
template <typename First, typename Second>
std::vector<std::tuple<First, Second>> every_pair(std::initializer_list<First> first,
                                                  std::initializer_list<Second> second) {
  std::vector<std::tuple<First, Second>> pairs;
  for (const First& one : first) {
    for (const Second& other : second) pairs.emplace_back(one, other);
  }
  return pairs;
}

}  // namespace test_support

// A test of a fixture that is a given_value.
#define TEST_GIVEN(fixture, name)                                                         \
  class fixture##_##name##_test : public fixture {                                        \
    void TestBody() override;                                                             \
  };                                                                                      \
  [[maybe_unused]] const bool fixture##_##name##_added = test_support::add_test<fixture>( \
      #name, []() -> testing::Test* { return new fixture##_##name##_test; });             \
  void fixture##_##name##_test::TestBody()

// Behind the tests of a fixture: the values for them.
#define GIVEN(group, fixture, ...)                        \
  [[maybe_unused]] const bool fixture##_##group##_given = \
      test_support::register_values<fixture>(#group "/" #fixture, __FILE__, __LINE__, __VA_ARGS__)
