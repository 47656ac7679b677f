#include "platform/shell.h"

#include <gtest/gtest.h>

namespace {

using platform::shell_word;

TEST(shell_word, leaves_plain_text_alone) {
  for (const char* text :
       {"https://host:80/a_b-c.json", R"(C:\Users\it\traces~1\)", "Spur-\xC3\xA4\xE6\x97\xA5"}) {
    EXPECT_EQ(shell_word(text), text);
  }
}

TEST(shell_word, quotes_what_the_prompt_would_read) {
  EXPECT_EQ(shell_word("${root}config.json"), R"("${root}config.json")");
  EXPECT_EQ(shell_word(R"(C:\my cache)"), R"("C:\my cache")");
  EXPECT_EQ(shell_word("a&b"), R"("a&b")");
  EXPECT_EQ(shell_word("a^b|c"), R"("a^b|c")");
  EXPECT_EQ(shell_word(""), R"("")");
}

TEST(shell_word, marks_quotation_marks_and_the_backslashes_before_them) {
  EXPECT_EQ(shell_word(R"(a "b")"), R"("a \"b\"")");
  EXPECT_EQ(shell_word(R"(a\"b)"), R"("a\\\"b")");
  EXPECT_EQ(shell_word(R"(C:\my cache\)"), R"("C:\my cache\\")");
}

}  // namespace
