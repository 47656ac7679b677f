#include "host/console.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "host/user_error.h"

namespace veltra::host {
namespace {

TEST(console, results_and_words_go_their_own_ways) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  print("a result\n");
  print_message("a word\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "a result\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a word\n");
}

TEST(console, a_result_that_is_not_taken_is_a_failure) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "needs a device that is always full";
  const auto work = [] {
    if (std::freopen("/dev/full", "wb", stdout) == nullptr) std::_Exit(1);
    try {
      print("x");
    } catch (const user_error& error) {
      std::fputs(error.what(), stderr);
      std::_Exit(static_cast<int>(error.code()));
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(work(), testing::ExitedWithCode(static_cast<int>(exit_code::output_failed)),
              "cannot write standard output: No space left on device");
}

TEST(console, a_word_that_nobody_hears_is_no_failure) {
  const auto work = [] {
    std::fclose(stderr);
    print_message("x");
    std::_Exit(0);
  };
  EXPECT_EXIT(work(), testing::ExitedWithCode(0), "");
}

TEST(sanitize, replaces_the_control_characters_of_ascii_and_c1) {
  EXPECT_EQ(sanitize("a\x1b[2J\n\x7f"), "a?[2J??");
  EXPECT_EQ(sanitize("\xc2\x9b"
                     "2J\xc2\x80|\xc2\x9f"),
            "?2J?|?");
  EXPECT_EQ(sanitize("\x9b"
                     "2J"),
            "?2J")
      << "a terminal that does not read UTF-8";
  EXPECT_EQ(sanitize(""), "");
}

TEST(sanitize, keeps_characters_of_every_length) {
  for (const char* text : {"caf\xc3\xa9", "\xc2\xa0", "\xe2\x82\xac", "\xf0\x9f\x93\xa1",
                           "\xe4\xbb\x80\xe4\xb9\x88"}) {
    EXPECT_EQ(sanitize(text), text);
  }
}

TEST(sanitize, a_character_that_is_cut_off_is_taken_byte_by_byte) {
  EXPECT_EQ(sanitize("\xe2\x82"), "\xe2?");
  EXPECT_EQ(sanitize("\xf0\x9f\x93"
                     "a"),
            "\xf0??a");
  EXPECT_EQ(sanitize("\xc2"), "\xc2");
}

}  // namespace
}  // namespace veltra::host
