#include "plugin/trace_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace {

TEST(trace_file_opening, a_directory_opens_and_has_no_file_size) {
  veltra::trace_file file;
  try {
    file.open(::testing::TempDir());
    ADD_FAILURE() << "opened";
  } catch (const std::filesystem::filesystem_error& error) {
    EXPECT_NE(std::string(error.what()).find("file_size"), std::string::npos);
    EXPECT_EQ(error.code(), std::errc::is_a_directory);
  }
}

}  // namespace
