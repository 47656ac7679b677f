#include "platform/message.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/windows/system.h"

namespace {

using platform::utf8_message;

TEST(windows_message, utf_8_stays_as_it_is) {
  for (const char* text : {"", "plain", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xA1 \xED\x9F\xBF"}) {
    EXPECT_EQ(utf8_message(text), text);
  }
}

TEST(windows_message, what_the_system_says_is_in_its_code_page) {
  if (GetACP() != 1252) GTEST_SKIP() << "this is about the code page of western Europe";
  EXPECT_EQ(utf8_message("Unzul\xE4ssige Funktion"), "Unzul\xC3\xA4ssige Funktion");
  EXPECT_EQ(utf8_message("ends with \xFC"), "ends with \xC3\xBC");
}

TEST(windows_message, a_name_in_utf_8_and_the_systems_words_stand_in_one_text) {
  if (GetACP() != 1252) GTEST_SKIP() << "this is about the code page of western Europe";
  EXPECT_EQ(utf8_message("\xC3\x9C\xE2\x82\xAC.bin: ung\xFCltig"),
            "\xC3\x9C\xE2\x82\xAC.bin: ung\xC3\xBCltig");
}

TEST(windows_message, line_ends_of_the_systems_words_are_dropped) {
  EXPECT_EQ(utf8_message("port closed: No such device\r\n"), "port closed: No such device");
  EXPECT_EQ(utf8_message("exists: No period\r\n [C:\\name]"), "exists: No period [C:\\name]");
  EXPECT_EQ(utf8_message("Two\r\nlines\r\n"), "Two lines");
  EXPECT_EQ(utf8_message("not the system's:\n\tline"), "not the system's:\n\tline");
}

TEST(windows_message, what_only_looks_like_utf_8_is_none) {
  if (GetACP() != 1252) GTEST_SKIP() << "this is about the code page of western Europe";
  // Overlong, a surrogate, beyond the last character, cut short.
  EXPECT_EQ(utf8_message("\xC0\xAF"), "\xC3\x80\xC2\xAF");
  EXPECT_EQ(utf8_message("\xED\xA0\xA0"), "\xC3\xAD\xC2\xA0\xC2\xA0");
  EXPECT_EQ(utf8_message("\xF4\xA0\xA0\xA0"), "\xC3\xB4\xC2\xA0\xC2\xA0\xC2\xA0");
  EXPECT_EQ(utf8_message("\xE2\xA2"), "\xC3\xA2\xC2\xA2");
}

}  // namespace
