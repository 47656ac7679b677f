#include "implementation/json_numbers.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using kovax::json;
using kovax::to_u32;
using kovax::to_u64;

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

}  // namespace
