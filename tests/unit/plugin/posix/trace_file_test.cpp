#include "plugin/trace_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/support/temp_directory.h"

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

TEST(trace_file_opening, a_program_that_is_started_later_does_not_inherit_the_file) {
  namespace fs = std::filesystem;
  const test_support::temp_directory directory;
  const fs::path path = fs::canonical(directory.write("trace.bin", "bytes"));
  veltra::trace_file file;
  file.open(path.string());
  int found = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code closed_meanwhile;
    if (fs::read_symlink(entry.path(), closed_meanwhile) != path) continue;
    ++found;
    const int flags = fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
    EXPECT_NE(flags & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(found, 1);
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
