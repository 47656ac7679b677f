#include "platform/windows/text.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/windows/system.h"

namespace {

using platform::describe_system_error;
using platform::to_utf8;
using platform::to_wide;

TEST(text, goes_both_ways_whatever_the_script) {
  const std::string utf8 = "a \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xA1";
  const std::wstring wide = L"a \x00E9 \x20AC \xD83D\xDCE1";
  EXPECT_EQ(to_wide(utf8), wide);
  EXPECT_EQ(to_utf8(wide), utf8);
  EXPECT_EQ(to_wide(""), L"");
  EXPECT_EQ(to_utf8(L""), "");
}

TEST(text, keeps_a_nul_within) {
  EXPECT_EQ(to_wide(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(to_utf8(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(text, what_has_no_other_form_becomes_the_replacement_character) {
  EXPECT_EQ(to_wide("a\xFF!"), L"a\xFFFD!");
  EXPECT_EQ(to_utf8(L"a\xD83D!"), "a\xEF\xBF\xBD!");
}

TEST(text, an_error_is_described_without_an_end_of_line) {
  const std::string text = describe_system_error(ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
  EXPECT_NE(text.back(), '.');
  EXPECT_NE(text, describe_system_error(ERROR_ACCESS_DENIED));
}

TEST(text, an_error_that_the_system_does_not_know_is_described_by_its_number) {
  EXPECT_EQ(describe_system_error(0x2FFF1234), "system error 805245492");
}

}  // namespace
