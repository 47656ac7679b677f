#include "host/output/raw_recorder.h"

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
#include "tests/unit/host/display/packets.h"
#include "tests/unit/host/simulate/refusal.h"

namespace {

TEST(raw_recorder, a_file_that_may_not_be_written_fails_at_once) {
  const std::filesystem::path unwritable = "/proc/trace.bin";
  if (!std::filesystem::exists("/proc/self")) GTEST_SKIP() << "no file system that takes no files";
  EXPECT_THROW(veltra::host::raw_recorder recorder(unwritable), veltra::host::user_error);
}

TEST(raw_recorder, a_full_disk_is_a_failure) {
  veltra::host::raw_recorder recorder("/dev/full");
  EXPECT_THROW(recorder.take(live_test::raw_packet("x")), veltra::host::user_error);
}

TEST(raw_recorder, a_reader_that_stalls_is_a_failure_in_a_hurry) {
  using veltra::host::exit_code;
  const test_support::temp_directory directory;
  const std::filesystem::path pipe = directory.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  veltra::host::raw_recorder recorder(pipe, std::chrono::milliseconds(5));
  recorder.take(live_test::raw_packet("x"));
  recorder.hurry();
  const std::string more(10'000'000, 'x');
  EXPECT_THAT(veltra::host::refusal_of([&] { recorder.take(live_test::raw_packet(more)); },
                                       exit_code::output_failed),
              testing::HasSubstr("the program that reads it has not read"));
  EXPECT_EQ(recorder.bytes(), 1U);
  close(reader);
}

}  // namespace
