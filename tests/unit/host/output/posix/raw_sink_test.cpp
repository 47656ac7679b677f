#include "host/output/raw_sink.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "host/user_error.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

TEST(raw_sink, a_file_that_may_not_be_written_fails_at_once) {
  const std::filesystem::path unwritable = "/proc/trace.bin";
  if (!std::filesystem::exists("/proc/self")) GTEST_SKIP() << "no file system that takes no files";
  EXPECT_THROW(raw_sink sink(unwritable), user_error);
}

TEST(raw_sink, a_full_disk_is_a_failure) {
  raw_sink sink("/dev/full");
  sink.begin();
  EXPECT_THROW(sink.write(raw_packet("x")), user_error);
}

TEST(raw_sink, a_reader_that_stalls_is_a_failure_when_writes_are_limited) {
  const test_support::temp_directory directory;
  const std::filesystem::path pipe = directory.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  raw_sink sink(pipe, false, std::chrono::milliseconds(5));
  sink.begin();
  sink.write(raw_packet("x"));
  sink.limit_writes();
  const std::string more(10'000'000, 'x');
  EXPECT_THAT(refusal_of([&] { sink.write(raw_packet(more)); }, exit_code::output_failed),
              testing::HasSubstr("the program that reads it has not read"));
  EXPECT_EQ(sink.bytes(), 1U);
  close(reader);
}

// A link that leads to nothing yet is one to the place for the trace.
TEST(raw_sink, a_link_stays_a_link) {
  const test_support::temp_directory directory;
  const std::filesystem::path link = directory.path() / "link";
  std::filesystem::create_symlink("real", link);
  {
    raw_sink sink(link);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "real"));
    sink.begin();
    sink.write(raw_packet("raw"));
  }
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(content(directory.path() / "real"), "raw");
  raw_sink sink(link, true);
  sink.begin();
  sink.write(raw_packet("new"));
  EXPECT_EQ(content(directory.path() / "real"), "new");
}

}  // namespace
}  // namespace veltra::host
