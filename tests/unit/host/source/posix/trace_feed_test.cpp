#include "host/source/trace_feed.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "host/user_error.h"
#include "platform/console.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

class trace_feed_test : public testing::Test {
 protected:
  static std::string read(const std::filesystem::path& name) {
    std::ifstream file(name, std::ios::binary);
    EXPECT_TRUE(file.is_open());
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const platform::console_setup console_;  // a pipe without a reader is not a signal
  test_support::temp_directory directory_;
};

TEST_F(trace_feed_test, hands_on_what_was_read_before_and_then_the_rest) {
  const std::string large(1 << 20, 'x');
  const auto name = platform::path_to_utf8(directory_.write("a.bin", large));
  trace_feed feed("first ", make_trace_reader({name}));
  EXPECT_EQ(read(feed.open()), "first " + large);
  EXPECT_EQ(feed.failure(), nullptr);
}

TEST_F(trace_feed_test, keeps_why_a_trace_could_not_be_read_to_its_end) {
  const auto name = platform::path_to_utf8(directory_.write("a.gz", "no gzip"));
  trace_feed feed("first", make_trace_reader({name}));
  EXPECT_EQ(read(feed.open()), "first");
  ASSERT_NE(feed.failure(), nullptr);
  EXPECT_THROW(std::rethrow_exception(feed.failure()), user_error);
}

TEST_F(trace_feed_test, ends_although_nobody_reads_it) {
  const auto name = platform::path_to_utf8(directory_.write("a.bin", std::string(1 << 20, 'x')));
  trace_feed feed("", make_trace_reader({name}));
  feed.open();
}

TEST_F(trace_feed_test, need_not_be_opened) {
  const auto name = platform::path_to_utf8(directory_.write("a.bin", "bytes"));
  trace_feed feed("first", make_trace_reader({name}));
  EXPECT_EQ(feed.failure(), nullptr);
}

TEST_F(trace_feed_test, ends_although_nothing_comes) {
  const std::filesystem::path fifo = directory_.path() / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  trace_feed feed("first", make_trace_reader({platform::path_to_utf8(fifo)}));
  feed.open();
  feed.end_early();
  EXPECT_EQ(read(feed.open()), "first");
}

}  // namespace
}  // namespace veltra::host
