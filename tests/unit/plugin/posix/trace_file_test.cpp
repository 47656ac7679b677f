#include "plugin/trace_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
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

// A process's own memory is a regular file, and at its beginning nothing is mapped:
// proc(5), "/proc/pid/mem".
TEST(unreadable_trace_file, a_read_that_fails_names_the_file) {
  veltra::trace_file file;
  file.open("/proc/self/mem");
  std::string chunk;
  try {
    file.read_chunk(16, chunk);
    ADD_FAILURE() << "read";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "trace_file could not be read at /proc/self/mem");
  }
}

}  // namespace
