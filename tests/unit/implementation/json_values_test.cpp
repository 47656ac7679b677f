#include "implementation/json_values.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "implementation/json_document.h"

namespace {

using kovax::json;
using kovax::nested_deeper_than;
using kovax::to_u32;
using kovax::to_u64;

// --- numbers -------------------------------------------------------------------------

std::uint32_t u32(const char* text) {
  return to_u32(json::parse(text));
}
std::uint64_t u64(const char* text) {
  return to_u64(json::parse(text));
}

TEST(to_u32, keeps_the_low_32_bits_of_an_integer) {
  EXPECT_EQ(u32("7"), 7U);
  EXPECT_EQ(u32("4294967295"), 4294967295U);
  EXPECT_EQ(u32("4294967296"), 0U);
  EXPECT_EQ(u32("4294967303"), 7U);
  EXPECT_EQ(u32("18446744073709551615"), 4294967295U);
  EXPECT_EQ(u32("-1"), 4294967295U);
}

TEST(to_u32, cuts_the_fraction_of_a_floating_value_off) {
  EXPECT_EQ(u32("7.9"), 7U);
  EXPECT_EQ(u32("-0.9"), 0U);
  EXPECT_EQ(u32("-1.9"), 4294967295U);
}

TEST(to_u32, is_defined_for_floating_values_of_any_size) {
  EXPECT_EQ(u32("4294967297.5"), 1U);
  EXPECT_EQ(u32("1e300"), 0U);  // a multiple of 2^32
  EXPECT_EQ(u32("-1e300"), 0U);
}

TEST(to_u32, takes_booleans_as_0_and_1) {
  EXPECT_EQ(u32("true"), 1U);
  EXPECT_EQ(u32("false"), 0U);
}

TEST(to_u32, refuses_other_types_with_their_name) {
  for (const auto& [text, name] :
       {std::pair{"null", "null"}, {"\"1\"", "string"}, {"[1]", "array"}, {"{}", "object"}}) {
    try {
      u32(text);
      ADD_FAILURE() << text << " was taken";
    } catch (const json::type_error& error) {
      EXPECT_EQ(error.id, 302);
      EXPECT_NE(std::string(error.what()).find(std::string("type must be number, but is ") + name),
                std::string::npos)
          << error.what();
    }
  }
}

TEST(to_u64, takes_integers_as_they_are) {
  EXPECT_EQ(u64("18446744073709551615"), UINT64_MAX);
  EXPECT_EQ(u64("-1"), UINT64_MAX);
  EXPECT_EQ(u64("0"), 0U);
}

TEST(to_u64, cuts_the_fraction_of_a_floating_value_off) {
  EXPECT_EQ(u64("100.9"), 100U);
  EXPECT_EQ(u64("-0.5"), 0U);
}

TEST(to_u64, takes_the_nearest_for_floating_values_beyond_64_bits) {
  EXPECT_EQ(u64("1e300"), UINT64_MAX);
  EXPECT_EQ(u64("18446744073709551616.0"), UINT64_MAX);
  EXPECT_EQ(u64("9223372036854775808.0"), 9223372036854775808U);
  EXPECT_EQ(u64("-1e300"), 0U);
}

TEST(to_u64, does_not_take_booleans) {
  try {
    u64("true");
    ADD_FAILURE() << "true was taken";
  } catch (const json::type_error& error) {
    EXPECT_NE(std::string(error.what()).find("type must be number, but is boolean"),
              std::string::npos);
  }
}

// --- members -------------------------------------------------------------------------

std::string type_error_of_array_member(const json& object) {
  try {
    kovax::array_member(object, "key");
  } catch (const json::type_error& error) {
    return error.what();
  }
  return "no error";
}

TEST(json_members, one_that_is_missing_is_null_and_so_is_one_of_null) {
  EXPECT_EQ(kovax::member({{"key", 5}}, "key"), 5);
  EXPECT_TRUE(kovax::member({{"other", 5}}, "key").is_null());
  EXPECT_TRUE(kovax::member(nullptr, "key").is_null());
  EXPECT_THROW(kovax::member("text", "key"), json::type_error);
}

TEST(json_members, an_array_that_is_missing_is_refused_and_not_empty) {
  EXPECT_EQ(kovax::array_member({{"key", {1, 2}}}, "key").size(), 2U);
  EXPECT_NE(type_error_of_array_member(json::object()).find("type must be array, but is null"),
            std::string::npos);
  EXPECT_NE(type_error_of_array_member({{"key", "x"}}).find("type must be array, but is string"),
            std::string::npos);
}

// --- nesting -------------------------------------------------------------------------

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

// --- documents -----------------------------------------------------------------------

TEST(json_document, is_what_the_library_parses) {
  for (const char* text :
       {"null", "true", "-5", "18446744073709551615", "1.5e3", R"("\u00e9\n")", "[]", "{}",
        R"([1, [2, [], {"a": {}}], {"b": [3, {"c": null}], "d": "e"}])",
        R"({"same": {"a": [1]}, "other": 1, "same": [2]})"}) {
    const kovax::json_document document(text);
    EXPECT_EQ(document.root(), json::parse(text)) << text;
    EXPECT_EQ(document.root().type(), json::parse(text).type()) << text;
  }
}

TEST(json_document, refuses_what_the_library_refuses_with_its_words) {
  const auto refusal_of = [](const auto& parse) {
    try {
      parse();
    } catch (const json::exception& error) {
      return std::to_string(error.id) + error.what();
    }
    return std::string("none");
  };
  for (const char* text : {"", "[1, ", "{\"a\" 1}", "[1] 2", "// comment\n1", "1e999", "\"\xFF\"",
                           "{\"a\": [1, {\"b\": tru}]}"}) {
    EXPECT_EQ(refusal_of([&] { kovax::json_document document(text); }),
              refusal_of([&] { const json ignored = json::parse(text); }))
        << text;
  }
}

TEST(json_document, is_dismantled_whatever_its_depth_and_width) {
  const std::string deep = std::string(1'000'000, '[') + std::string(1'000'000, ']');
  std::string wide = "[0";
  for (int i = 0; i < 100'000; ++i) wide += R"(,[[],{"a":[1,2]}])";
  for (const std::string& text : {deep, wide + "]"}) {
    kovax::json_document document(text);
    kovax::dismantle(document.root());
    EXPECT_TRUE(document.root().is_null());
  }
}

}  // namespace
