#include "platform/pseudo_terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <string_view>

namespace {

using namespace std::chrono_literals;
using platform::pseudo_terminal;
using outcome = pseudo_terminal::outcome;
using steady = std::chrono::steady_clock;

// A program at the other end.
class reader {
 public:
  explicit reader(const pseudo_terminal& line)
      : descriptor_(open(line.device().c_str(), O_RDWR | O_NOCTTY)) {
    EXPECT_GE(descriptor_, 0);
  }
  reader(const reader&) = delete;
  reader& operator=(const reader&) = delete;
  ~reader() { leave(); }

  void leave() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
  }
  void drop_queues() const { EXPECT_EQ(tcflush(descriptor_, TCIOFLUSH), 0); }
  void send(std::string_view text) const {
    EXPECT_EQ(write(descriptor_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  std::string receive(std::size_t size) const {
    std::string bytes;
    while (bytes.size() < size) {
      char block[1000];
      const auto count = read(descriptor_, block, std::min(sizeof block, size - bytes.size()));
      if (count <= 0) break;
      bytes.append(block, static_cast<std::size_t>(count));
    }
    return bytes;
  }

 private:
  int descriptor_;
};

std::string all_bytes(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 256);
  return bytes;
}

TEST(pseudo_terminal, waits_for_a_reader_until_it_is_interrupted) {
  pseudo_terminal line;
  auto waiting = std::async(std::launch::async, [&] { return line.wait_for_reader(1h, 0ms); });
  line.interrupt();
  EXPECT_EQ(waiting.get(), outcome::interrupted);
  EXPECT_EQ(line.wait_for_reader(1h, 0ms), outcome::interrupted);
}

TEST(pseudo_terminal, a_reader_that_has_dropped_its_queues_is_ready) {
  pseudo_terminal line;
  auto waiting = std::async(std::launch::async, [&] { return line.wait_for_reader(1h, 0ms); });
  const reader other(line);
  other.drop_queues();
  EXPECT_EQ(waiting.get(), outcome::done);
}

TEST(pseudo_terminal, a_reader_that_may_drop_its_queues_again_is_given_time_for_it) {
  pseudo_terminal line;
  const reader other(line);
  for (int drops = 0; drops < 2; ++drops) {
    const auto begin = steady::now();
    other.drop_queues();
    EXPECT_EQ(line.wait_for_reader(1h, 20ms), outcome::done);
    EXPECT_GE(steady::now() - begin, 20ms);
  }
}

TEST(pseudo_terminal, a_reader_that_drops_nothing_is_ready_after_the_settling_time) {
  pseudo_terminal line;
  const reader other(line);
  const auto begin = steady::now();
  EXPECT_EQ(line.wait_for_reader(20ms, 0ms), outcome::done);
  EXPECT_GE(steady::now() - begin, 20ms);
}

TEST(pseudo_terminal, a_reader_that_has_left_again_is_not_waited_for_any_more) {
  pseudo_terminal line;
  {
    const reader other(line);
    other.drop_queues();
  }
  auto waiting = std::async(std::launch::async, [&] { return line.wait_for_reader(0ms, 0ms); });
  EXPECT_EQ(waiting.wait_for(30ms), std::future_status::timeout);
  const reader next(line);
  EXPECT_EQ(waiting.get(), outcome::done);
}

TEST(pseudo_terminal, a_reader_that_left_unseen_does_not_stand_for_the_next) {
  pseudo_terminal line;
  reader first(line);
  first.drop_queues();
  ASSERT_EQ(line.wait_for_reader(1h, 0ms), outcome::done);
  first.leave();
  auto waiting = std::async(std::launch::async, [&] { return line.wait_for_reader(1h, 0ms); });
  EXPECT_EQ(waiting.wait_for(20ms), std::future_status::timeout);
  const reader next(line);
  next.drop_queues();
  EXPECT_EQ(waiting.get(), outcome::done);
}

TEST(pseudo_terminal, every_byte_arrives_as_it_is) {
  pseudo_terminal line;
  const reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  const std::string sent = all_bytes(1024);
  EXPECT_EQ(line.write(sent), outcome::done);
  EXPECT_EQ(other.receive(sent.size()), sent);
}

TEST(pseudo_terminal, a_full_line_makes_write_wait_and_loses_nothing) {
  pseudo_terminal line;
  const reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  const std::string sent = all_bytes(1'000'000);
  auto writing = std::async(std::launch::async, [&] { return line.write(sent); });
  EXPECT_EQ(other.receive(sent.size()), sent);
  EXPECT_EQ(writing.get(), outcome::done);
}

TEST(pseudo_terminal, what_the_reader_sends_does_not_come_back_and_stops_nothing) {
  pseudo_terminal line;
  const reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  for (int i = 0; i < 100; ++i) {
    other.send(std::string(1000, '?'));
    ASSERT_EQ(line.write("!"), outcome::done);
  }
  EXPECT_EQ(other.receive(100), std::string(100, '!'));
}

TEST(pseudo_terminal, an_interrupt_ends_a_write_that_waits) {
  pseudo_terminal line;
  const reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  auto writing = std::async(std::launch::async, [&] { return line.write(all_bytes(1'000'000)); });
  line.interrupt();
  EXPECT_EQ(writing.get(), outcome::interrupted);
}

TEST(pseudo_terminal, a_write_that_waits_ends_when_the_reader_leaves) {
  pseudo_terminal line;
  reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  auto writing = std::async(std::launch::async, [&] { return line.write(all_bytes(1'000'000)); });
  other.receive(100);
  other.leave();
  EXPECT_EQ(writing.get(), outcome::reader_gone);
}

TEST(pseudo_terminal, a_sleep_ends_at_its_time_or_when_the_reader_leaves) {
  pseudo_terminal line;
  reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  const auto until = steady::now() + 10ms;
  EXPECT_EQ(line.sleep_until(until), outcome::done);
  EXPECT_GE(steady::now(), until);
  auto sleeping =
      std::async(std::launch::async, [&] { return line.sleep_until(steady::now() + 1h); });
  other.leave();
  EXPECT_EQ(sleeping.get(), outcome::reader_gone);
}

TEST(pseudo_terminal, drain_waits_until_the_last_byte_has_been_read) {
  pseudo_terminal line;
  const reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  ASSERT_EQ(line.write(all_bytes(10'000)), outcome::done);
  auto draining = std::async(std::launch::async, [&] { return line.drain(0ms); });
  EXPECT_EQ(other.receive(9'999), all_bytes(9'999));
  EXPECT_EQ(draining.wait_for(30ms), std::future_status::timeout);
  other.receive(1);
  EXPECT_EQ(draining.get(), outcome::done);
}

TEST(pseudo_terminal, drain_leaves_the_reader_its_grace_but_not_longer_than_it_stays) {
  pseudo_terminal line;
  reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  auto draining = std::async(std::launch::async, [&] { return line.drain(1h); });
  EXPECT_EQ(draining.wait_for(20ms), std::future_status::timeout);
  other.leave();
  EXPECT_EQ(draining.get(), outcome::done);
}

TEST(pseudo_terminal, drain_reports_a_reader_that_left_bytes_behind) {
  pseudo_terminal line;
  reader other(line);
  ASSERT_EQ(line.wait_for_reader(0ms, 0ms), outcome::done);
  ASSERT_EQ(line.write("not read"), outcome::done);
  other.leave();
  EXPECT_EQ(line.drain(1h), outcome::reader_gone);
}

TEST(pseudo_terminal, the_reader_sees_the_device_vanish_with_the_object) {
  auto line = std::make_unique<pseudo_terminal>();
  const reader other(*line);
  line.reset();
  EXPECT_EQ(other.receive(1), "");
}

}  // namespace
