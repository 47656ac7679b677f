// Readers that do not read.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include "platform/stream_writer.h"

namespace {

using namespace std::chrono_literals;
using platform::stream_writer;

class stream_writer_pipe_test : public testing::Test {
 protected:
  stream_writer_pipe_test() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    reader_ = ends[0];
    writer_ = fdopen(ends[1], "wb");
    // The smallest there is, a page.
    capacity_ = fcntl(reader_, F_SETPIPE_SZ, 1);
    EXPECT_GT(capacity_, 0);
  }
  ~stream_writer_pipe_test() override {
    if (reader_ >= 0) close(reader_);
    std::fclose(writer_);
  }

  std::future<int> write_beside(stream_writer& writer, const std::string& bytes) {
    return std::async(std::launch::async,
                      [this, &writer, &bytes] { return writer.write(writer_, bytes); });
  }

  void wait_until_full() const {
    for (int count = 0; count < capacity_; std::this_thread::yield()) {
      ASSERT_EQ(ioctl(reader_, FIONREAD, &count), 0);
    }
  }

  std::string read_some() const {
    std::array<char, 1000> block{};
    const ssize_t count = read(reader_, block.data(), block.size());
    return {block.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
  }

  std::string read_all(std::size_t size) const {
    std::string all;
    while (all.size() < size) all += read_some();
    return all;
  }

  int reader_ = -1;
  std::FILE* writer_ = nullptr;
  int capacity_ = 0;
  const std::string much_ = std::string(30'000, 'a') + std::string(70'001, 'b');
};

TEST_F(stream_writer_pipe_test, a_reader_may_take_its_time) {
  stream_writer writer(0ms);
  auto written = write_beside(writer, much_);
  wait_until_full();
  EXPECT_EQ(written.wait_for(10ms), std::future_status::timeout);
  EXPECT_EQ(read_all(much_.size()), much_);
  EXPECT_EQ(written.get(), 0);
}

TEST_F(stream_writer_pipe_test, a_hurry_ends_a_write_that_nobody_reads) {
  stream_writer writer(5ms);
  auto written = write_beside(writer, much_);
  wait_until_full();
  writer.limit_writes();
  EXPECT_EQ(written.get(), ETIMEDOUT);
}

TEST_F(stream_writer_pipe_test, a_hurry_ends_a_write_that_begins_after_it) {
  stream_writer writer(5ms);
  writer.limit_writes();
  writer.limit_writes();
  EXPECT_EQ(writer.write(writer_, much_), ETIMEDOUT);
}

TEST_F(stream_writer_pipe_test, a_reader_that_reads_gets_everything_in_a_hurry_too) {
  stream_writer writer(1h);
  auto written = write_beside(writer, much_);
  wait_until_full();
  writer.limit_writes();
  EXPECT_EQ(read_all(much_.size()), much_);
  EXPECT_EQ(written.get(), 0);
}

TEST_F(stream_writer_pipe_test, what_follows_a_loss_is_lost) {
  stream_writer writer(0ms);
  writer.limit_writes();
  EXPECT_EQ(writer.write(writer_, much_), ETIMEDOUT);
  while (read_some().size() == 1000) {
  }
  EXPECT_EQ(writer.write(writer_, "x"), ETIMEDOUT);
  int count = -1;
  ASSERT_EQ(ioctl(reader_, FIONREAD, &count), 0);
  EXPECT_EQ(count, 0);
}

TEST_F(stream_writer_pipe_test, a_reader_that_goes_ends_the_wait) {
  struct sigaction ignore {};
  struct sigaction before {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &before);
  stream_writer writer;
  auto written = write_beside(writer, much_);
  wait_until_full();
  close(std::exchange(reader_, -1));
  EXPECT_EQ(written.get(), EPIPE);
  sigaction(SIGPIPE, &before, nullptr);
}

// Other programs may write there, too.
TEST_F(stream_writer_pipe_test, the_pipe_keeps_its_mode) {
  for (const int mode : {0, O_NONBLOCK}) {
    ASSERT_EQ(fcntl(fileno(writer_), F_SETFL, mode), 0);
    const int before = fcntl(fileno(writer_), F_GETFL);
    stream_writer writer;
    auto written = write_beside(writer, much_);
    wait_until_full();
    EXPECT_EQ(fcntl(fileno(writer_), F_GETFL), before);
    EXPECT_EQ(read_all(much_.size()), much_);
    EXPECT_EQ(written.get(), 0);
  }
}

}  // namespace
