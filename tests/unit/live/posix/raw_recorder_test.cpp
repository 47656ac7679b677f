#include "host/live/raw_recorder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "host/user_error.h"
#include "tests/unit/live/packets.h"

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

}  // namespace
