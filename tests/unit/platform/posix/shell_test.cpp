#include "platform/shell.h"

#include <gtest/gtest.h>

namespace {

using platform::shell_word;

TEST(shell_word, leaves_plain_text_alone) {
  EXPECT_EQ(shell_word("https://host:80/a_b-c.json"), "https://host:80/a_b-c.json");
}

TEST(shell_word, quotes_what_a_shell_would_read) {
  EXPECT_EQ(shell_word("${root}config.json"), "'${root}config.json'");
  EXPECT_EQ(shell_word("my cache"), "'my cache'");
  EXPECT_EQ(shell_word("it's"), "'it'\\''s'");
  EXPECT_EQ(shell_word(""), "''");
}

}  // namespace
