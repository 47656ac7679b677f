#include "plugin/json_nesting.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using veltra::nested_deeper_than;

// The levels of `text`, by asking for every number of them.
std::size_t levels_of(std::string_view text) {
  std::size_t levels = 0;
  while (nested_deeper_than(text, levels)) ++levels;
  return levels;
}

TEST(json_nesting, arrays_and_objects_are_levels) {
  EXPECT_EQ(levels_of(R"(5)"), 0U);
  EXPECT_EQ(levels_of(R"([])"), 1U);
  EXPECT_EQ(levels_of(R"({})"), 1U);
  EXPECT_EQ(levels_of(R"([{}])"), 2U);
  EXPECT_EQ(levels_of(R"({"a":[{"b":[]}]})"), 4U);
}

TEST(json_nesting, the_deepest_place_decides) {
  EXPECT_EQ(levels_of(R"([[],[],{},[]])"), 2U);
  EXPECT_EQ(levels_of(R"([[[[]]],[]])"), 4U);
  EXPECT_EQ(levels_of(R"([[],[[[]]]])"), 4U);
}

TEST(json_nesting, brackets_in_strings_are_text) {
  EXPECT_EQ(levels_of(R"(["[[{{", {"]}[": 1}])"), 2U);
  EXPECT_EQ(levels_of(R"(["}}]]", [[]]])"), 3U);
}

TEST(json_nesting, an_escaped_quotation_mark_does_not_end_a_string) {
  EXPECT_EQ(levels_of(R"(["\"[[["])"), 1U);
  EXPECT_EQ(levels_of(R"(["\\", [[]]])"), 3U);
  EXPECT_EQ(levels_of(R"(["\\\"[[["])"), 1U);
  EXPECT_EQ(levels_of(R"(["\u0022", [[]]])"), 3U);
}

TEST(json_nesting, a_text_that_is_cut_short_is_read_to_its_end) {
  EXPECT_EQ(levels_of(""), 0U);
  EXPECT_EQ(levels_of("[[["), 3U);
  EXPECT_EQ(levels_of(R"([")"), 1U);
  EXPECT_EQ(levels_of(R"(["\)"), 1U);
  EXPECT_EQ(levels_of(R"(["a[[)"), 1U);
}

TEST(json_nesting, more_ends_than_beginnings_do_no_harm) {
  EXPECT_EQ(levels_of("]]}}[[]]"), 2U);
}

}  // namespace
