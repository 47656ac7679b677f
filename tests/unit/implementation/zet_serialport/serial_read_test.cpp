// Reading from a serial port: counts, time-outs, closing, several threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "implementation/zet_serialport/zet_serialport.h"
#include "tests/unit/implementation/zet_serialport/scripted_serial_api.h"

namespace zet_serialport_lib {
namespace {

using serial_test::operation;
using serial_test::scripted_serial_api;
using std::chrono::milliseconds;
using steady = std::chrono::steady_clock;

// A read that has to wait longer has the time limit of the whole program.
constexpr std::chrono::hours long_enough{1};

class serial_read : public ::testing::Test {
 protected:
  serial_read() { script_.restart(); }
  ~serial_read() override {
    EXPECT_EQ(script_.misuses(), 0);
    EXPECT_EQ(script_.open_ports(), 0);
  }

  void open_and_receive(zet_serialport& port, const std::string& bytes) {
    script_.deliver(bytes);
    port.open(std::nullopt, false);
    // The worker waits for more only after it has handed over what there was.
    ASSERT_TRUE(script_.await_calls(operation::wait, 1));
  }

  static std::string failure_of_read(zet_serialport& port, zet_serialport_error error,
                                     std::size_t count,
                                     std::optional<milliseconds> timeout = std::nullopt) {
    std::string output = "kept";
    try {
      port.read(output, count, timeout);
      ADD_FAILURE() << "read";
    } catch (const zet_serialport_exception& failure) {
      EXPECT_EQ(failure.error(), error);
      EXPECT_EQ(output, "kept");
      const std::string text = failure.what();
      return text.substr(0, text.find(':'));
    }
    return {};
  }

  // Runs `round` with an open port many times. What ends the reads that a round has
  // begun comes after `meet()`, which gives them time: none at first, and in most
  // rounds enough to wait.
  template <typename Round>
  void for_each_meeting(const Round& round) {
    zet_serialport port("COM1");
    for (int count = 0; count < 200 && !HasFailure(); ++count) {
      port.open(std::nullopt, false);
      round(port, [pauses = count % 16] {
        for (int pause = 0; pause < pauses; ++pause) std::this_thread::yield();
      });
    }
  }

  scripted_serial_api& script_ = scripted_serial_api::instance();
};

TEST_F(serial_read, takes_exactly_what_is_asked_for_and_appends_it) {
  zet_serialport port("COM1");
  open_and_receive(port, "abcdefgh");
  std::string output = ">";
  port.read(output, 3);
  EXPECT_EQ(output, ">abc");
  EXPECT_EQ(port.bytes_available(), 5U);
  port.read(output, 5, milliseconds(0));
  EXPECT_EQ(output, ">abcdefgh");
}

TEST_F(serial_read, a_count_of_nothing_returns_at_once_on_an_open_port) {
  zet_serialport port("COM1");
  open_and_receive(port, "abc");
  std::string output;
  port.read(output, 0);
  EXPECT_EQ(output, "");
  EXPECT_EQ(port.bytes_available(), 3U);
}

TEST_F(serial_read, what_was_received_can_be_taken_without_waiting_from_a_closed_port_too) {
  zet_serialport port("COM1");
  open_and_receive(port, "abcdefgh");
  std::string output = ">";
  EXPECT_EQ(port.take_received(output, 3), 3U);
  EXPECT_EQ(output, ">abc");
  port.close();
  EXPECT_EQ(port.take_received(output, 100), 5U);
  EXPECT_EQ(output, ">abcdefgh");
  EXPECT_EQ(port.take_received(output, 100), 0U);
}

TEST_F(serial_read, a_port_that_was_never_opened_is_closed) {
  zet_serialport port("COM1");
  EXPECT_EQ(failure_of_read(port, ERR_SERIALPORT_OPEN, 1), "port closed");
  EXPECT_EQ(failure_of_read(port, ERR_SERIALPORT_OPEN, 0), "port closed");
  EXPECT_EQ(failure_of_read(port, ERR_SERIALPORT_OPEN, 1, milliseconds(50)), "port closed");
}

TEST_F(serial_read, a_time_out_leaves_what_has_come_for_the_next_read) {
  zet_serialport port("COM1");
  open_and_receive(port, "abc");
  const auto begin = steady::now();
  EXPECT_EQ(failure_of_read(port, ERR_TIMEOUT, 4, milliseconds(100)), "read timeout");
  EXPECT_GE(steady::now() - begin, milliseconds(100));
  std::string output;
  port.read(output, 3);
  EXPECT_EQ(output, "abc");
}

TEST_F(serial_read, a_time_out_of_nothing_or_less_does_not_wait) {
  zet_serialport port("COM1");
  open_and_receive(port, "abc");
  EXPECT_EQ(failure_of_read(port, ERR_TIMEOUT, 4, milliseconds(0)), "read timeout");
  EXPECT_EQ(failure_of_read(port, ERR_TIMEOUT, 4, milliseconds(-1)), "read timeout");
  EXPECT_EQ(failure_of_read(port, ERR_TIMEOUT, 4, milliseconds::min()), "read timeout");
}

TEST_F(serial_read, a_time_out_beyond_the_clocks_range_waits_for_the_bytes) {
  zet_serialport port("COM1");
  open_and_receive(port, "abc");
  std::thread sender([this] { script_.deliver("d"); });
  std::string output;
  port.read(output, 4, milliseconds::max());
  EXPECT_EQ(output, "abcd");
  sender.join();
}

TEST_F(serial_read, waits_until_enough_has_come_in_pieces) {
  zet_serialport port("COM1");
  open_and_receive(port, "");
  std::thread sender([this] {
    for (int piece = 0; piece < 100; ++piece) script_.deliver("0123456789");
  });
  std::string output;
  port.read(output, 1000, long_enough);
  sender.join();
  EXPECT_EQ(output.size(), 1000U);
  EXPECT_EQ(port.bytes_available(), 0U);
}

TEST_F(serial_read, closing_wakes_a_read_without_a_time_out) {
  for_each_meeting([](zet_serialport& port, const auto& meet) {
    std::thread reader(
        [&port] { EXPECT_EQ(failure_of_read(port, ERR_SERIALPORT_OPEN, 1), "port closed"); });
    meet();
    port.close();
    reader.join();
    EXPECT_FALSE(port.is_open());
  });
}

TEST_F(serial_read, closing_wakes_a_read_with_a_time_out) {
  for_each_meeting([](zet_serialport& port, const auto& meet) {
    std::thread reader([&port] {
      EXPECT_EQ(failure_of_read(port, ERR_SERIALPORT_OPEN, 1, long_enough), "port closed");
    });
    meet();
    port.close();
    reader.join();
  });
}

TEST_F(serial_read, no_close_is_missed_however_it_meets_the_read) {
  // Without a time-out, a notification lost between test and wait would hang.
  zet_serialport port("COM1");
  for (int round = 0; round < 1000; ++round) {
    port.open(std::nullopt, false);
    std::thread closer([&port] { port.close(); });
    EXPECT_EQ(failure_of_read(port, ERR_SERIALPORT_OPEN, 1), "port closed");
    closer.join();
    if (HasFailure()) break;
  }
}

TEST_F(serial_read, closing_wakes_every_waiting_thread) {
  for_each_meeting([](zet_serialport& port, const auto& meet) {
    std::vector<std::thread> readers;
    std::atomic<int> woken = 0;
    for (int reader = 0; reader < 4; ++reader) {
      readers.emplace_back([&port, &woken] {
        if (failure_of_read(port, ERR_SERIALPORT_OPEN, 1) == "port closed") ++woken;
      });
    }
    meet();
    port.close();
    for (auto& reader : readers) reader.join();
    EXPECT_EQ(woken, 4);
  });
}

TEST_F(serial_read, several_threads_share_the_bytes_and_lose_none) {
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  const std::size_t counts[] = {1, 7, 64, 200};
  constexpr int reads = 50;
  std::vector<std::string> outputs(std::size(counts));
  std::vector<std::thread> readers;
  std::size_t total = 0;
  for (std::size_t i = 0; i < std::size(counts); ++i) {
    total += counts[i] * reads;
    readers.emplace_back([&port, &output = outputs[i], count = counts[i]] {
      for (int read = 0; read < reads; ++read) port.read(output, count, long_enough);
    });
  }
  std::size_t sums[256] = {};
  for (std::size_t sent = 0; sent < total; ++sent) {
    script_.deliver(std::string(1, static_cast<char>(sent)));
    ++sums[sent % 256];
  }
  for (auto& reader : readers) reader.join();
  for (const auto& output : outputs) {
    for (const char byte : output) --sums[static_cast<unsigned char>(byte)];
  }
  for (const auto sum : sums) EXPECT_EQ(sum, 0U);
  EXPECT_EQ(port.bytes_available(), 0U);
}

TEST_F(serial_read, a_read_of_little_is_not_held_up_by_one_of_much) {
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  for (int round = 0; round < 200 && !HasFailure(); ++round) {
    std::string little;
    std::string much;
    auto first = std::async(std::launch::async, [&] { port.read(little, 1); });
    auto second = std::async(std::launch::async, [&] { port.read(much, 100); });
    // Rounds differ in how far both reads have come before the bytes do. On a busy
    // machine one yield lasts milliseconds.
    for (int pause = 0; pause < round % 16; ++pause) std::this_thread::yield();
    script_.deliver("x");
    EXPECT_NO_THROW(first.get());  // before there is enough for the other
    script_.deliver(std::string(100, 'y'));
    EXPECT_NO_THROW(second.get());
    EXPECT_EQ(little.size(), 1U);
    EXPECT_EQ(much.size(), 100U);
  }
}

TEST_F(serial_read, closing_ends_a_worker_on_a_line_that_never_falls_silent) {
  zet_serialport port("COM1");
  script_.never_fall_silent();
  port.open(std::nullopt, false);
  ASSERT_TRUE(script_.await_calls(operation::read_file, 100));
  port.close();
  EXPECT_FALSE(port.is_open());
  EXPECT_EQ(script_.calls(operation::wait), 0);
}

TEST_F(serial_read, the_device_is_closed_only_after_the_worker_has_left_it) {
  // The script counts every call with a closed handle as a misuse.
  zet_serialport port("COM1");
  script_.never_fall_silent();
  for (int round = 0; round < 200; ++round) {
    port.open(std::nullopt, false);
    port.close();
    EXPECT_EQ(script_.history().back(), operation::close_port);
  }
}

TEST_F(serial_read, the_port_counts_as_closed_before_a_read_wakes) {
  // Whoever opens again because a read said "port closed" must not find the
  // port that is just being closed.
  zet_serialport port("COM1");
  for (int round = 0; round < 300; ++round) {
    port.open(std::nullopt, false);
    std::thread closer([&port] { port.close(); });
    std::string output;
    EXPECT_THROW(port.read(output, 1), zet_serialport_exception);
    EXPECT_FALSE(port.is_open());
    closer.join();
  }
}

TEST_F(serial_read, closing_twice_and_without_opening_does_nothing) {
  zet_serialport port("COM1");
  port.close();
  port.open(std::nullopt, false);
  port.close();
  const auto before = script_.history();
  port.close();
  EXPECT_EQ(script_.history(), before);
}

TEST_F(serial_read, unread_bytes_survive_close_and_open) {
  zet_serialport port("COM1");
  open_and_receive(port, "before ");
  port.close();
  EXPECT_EQ(port.bytes_available(), 7U);
  script_.deliver("after");
  port.open(std::nullopt, false);
  std::string output;
  port.read(output, 12);
  EXPECT_EQ(output, "before after");
}

TEST_F(serial_read, a_cancelled_port_refuses_to_read_until_it_is_opened_again) {
  zet_serialport port("COM1");
  open_and_receive(port, "abc");
  port.cancel();
  EXPECT_EQ(failure_of_read(port, ERR_OPERATION_CANCELLED, 1), "operation cancelled");
  EXPECT_EQ(failure_of_read(port, ERR_OPERATION_CANCELLED, 0), "operation cancelled");
  port.close();
  EXPECT_EQ(failure_of_read(port, ERR_SERIALPORT_OPEN, 1), "port closed");
  port.open(std::nullopt, false);
  std::string output;
  port.read(output, 3);
  EXPECT_EQ(output, "abc");
}

TEST_F(serial_read, cancelling_wakes_a_waiting_read) {
  for_each_meeting([](zet_serialport& port, const auto& meet) {
    std::thread reader([&port] {
      EXPECT_EQ(failure_of_read(port, ERR_OPERATION_CANCELLED, 1), "operation cancelled");
    });
    meet();
    port.cancel();
    reader.join();
    port.close();
  });
}

TEST_F(serial_read, open_and_close_from_two_threads_exclude_each_other) {
  zet_serialport port("COM1");
  std::thread opener([&port] {
    for (int round = 0; round < 500; ++round) port.open(zet_serialport_settings{}, true);
  });
  std::thread closer([&port] {
    for (int round = 0; round < 500; ++round) port.close();
  });
  opener.join();
  closer.join();
  port.close();
  EXPECT_EQ(script_.calls(operation::create_file), script_.calls(operation::close_port));
}

}  // namespace
}  // namespace zet_serialport_lib
