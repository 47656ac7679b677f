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

}  // namespace
}  // namespace veltra::host
