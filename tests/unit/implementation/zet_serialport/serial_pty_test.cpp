// The whole component on a real descriptor: a pseudo-terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>
#include <thread>

#include "implementation/zet_serialport/zet_serialport.h"
#include "tests/unit/implementation/zet_serialport/pseudo_terminal.h"

namespace zet_serialport_lib {
namespace {

using serial_test::pseudo_terminal;

// A read that has to wait longer has the time limit of the whole program.
constexpr std::chrono::hours long_enough{1};

zet_serialport_settings modem_settings() {
  zet_serialport_settings settings;
  settings.baud_rate = 1000000;
  settings.parity = parity::none;
  settings.stop_bits = stop_bits::one;
  settings.flow_control = flow_control::none;
  settings.character_size = std::uint8_t{8};
  return settings;
}

std::string random_bytes(std::size_t count) {
  std::mt19937 random(7);
  std::string bytes(count, '\0');
  for (auto& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::size_t open_descriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

zet_serialport_exception failure_of_open(zet_serialport& port,
                                         const zet_serialport_settings& settings) {
  try {
    port.open(settings, true);
  } catch (const zet_serialport_exception& failure) {
    return failure;
  }
  ADD_FAILURE() << "opened";
  return {ERR_GENERIC, {}, ""};
}

zet_serialport_exception failure_of_read(zet_serialport& port, std::size_t count = 1) {
  try {
    std::string output;
    port.read(output, count, long_enough);
  } catch (const zet_serialport_exception& failure) {
    return failure;
  }
  ADD_FAILURE() << "read";
  return {ERR_GENERIC, {}, ""};
}

TEST(serial_pty, every_byte_value_arrives_as_it_was_sent) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(modem_settings(), true);
  std::string sent;
  for (int byte = 0; byte < 256; ++byte) sent.push_back(static_cast<char>(byte));
  line.send(sent);
  std::string received;
  port.read(received, sent.size(), long_enough);
  EXPECT_TRUE(received == sent);
}

TEST(serial_pty, every_byte_value_arrives_without_settings_too) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  // XON and XOFF stay with the line discipline, which owns them by default.
  port.open(std::nullopt, true);
  std::string sent;
  for (int byte = 0; byte < 256; ++byte) {
    if (byte != 0x11 && byte != 0x13) sent.push_back(static_cast<char>(byte));
  }
  line.send(sent);
  std::string received;
  port.read(received, sent.size(), long_enough);
  EXPECT_TRUE(received == sent);
}

TEST(serial_pty, no_byte_is_lost_or_reordered_at_full_speed) {
  const auto sent = random_bytes(std::size_t{16} << 20);
  const pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(modem_settings(), true);
  std::thread modem([&line, &sent] { line.send(sent); });
  std::string received;
  while (received.size() < sent.size()) {
    // As the extraction loop sizes its reads.
    const auto left = sent.size() - received.size();
    const auto count = std::min(left, std::max<std::size_t>(1024, port.bytes_available()));
    port.read(received, count, long_enough);
  }
  modem.join();
  EXPECT_TRUE(received == sent);
  EXPECT_EQ(port.bytes_available(), 0U);
}

TEST(serial_pty, closing_wakes_a_blocked_read) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  for (int round = 0; round < 20; ++round) {
    port.open(modem_settings(), true);
    line.send("x");
    std::string output;
    port.read(output, 1, long_enough);
    std::thread reader([&port] { EXPECT_EQ(failure_of_read(port).error(), ERR_SERIALPORT_OPEN); });
    port.close();
    reader.join();
  }
}

TEST(serial_pty, closing_ends_a_worker_in_full_flood) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(modem_settings(), true);
  std::atomic<bool> closed = false;
  std::thread modem([&line, &closed] {
    while (!closed) line.send(random_bytes(10'000));
  });
  std::string output;
  port.read(output, 100000, long_enough);
  port.close();
  closed = true;
  // Lets the modem's write come to its end.
  port.open(modem_settings(), true);
  modem.join();
}

TEST(serial_pty, a_close_that_ends_a_read_reads_as_a_cancelled_operation) {
  const pseudo_terminal line;
  const auto expected = std::make_error_code(std::errc::operation_canceled);
  // In every other round the read comes between the port's close and its worker's end.
  for (int round = 0; round < 100 && !::testing::Test::HasFailure(); ++round) {
    zet_serialport port(line.device());
    port.open(modem_settings(), true);
    std::thread closer([&port] { port.close(); });
    while (round % 2 == 1 && port.is_open()) {
    }
    const auto failure = failure_of_read(port);
    closer.join();
    EXPECT_EQ(failure.error(), ERR_SERIALPORT_OPEN);
    EXPECT_EQ(failure.code(), std::errc::operation_canceled) << failure.code();
    EXPECT_EQ(failure.what(), "port closed: " + expected.message());
  }
}

TEST(serial_pty, a_port_opens_again_after_it_was_closed) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  for (int round = 0; round < 50; ++round) {
    port.open(modem_settings(), true);
    line.send("round");
    std::string output;
    port.read(output, 5, long_enough);
    EXPECT_EQ(output, "round");
    port.close();
  }
}

TEST(serial_pty, no_descriptor_is_left_behind) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  const auto before = open_descriptors();
  for (int round = 0; round < 20; ++round) {
    port.open(modem_settings(), true);
    line.send("x");
    std::string output;
    port.read(output, 1, long_enough);
    port.close();
    EXPECT_EQ(open_descriptors(), before);
  }
}

TEST(serial_pty, a_modem_that_vanishes_ends_a_waiting_read_and_says_so) {
  pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(modem_settings(), true);
  std::thread unplugger([&line] { line.hang_up(); });
  const auto failure = failure_of_read(port);
  unplugger.join();
  EXPECT_EQ(failure.error(), ERR_SERIALPORT_OPEN);
  EXPECT_EQ(failure.code(), std::error_code(ENODEV, std::system_category()));
  EXPECT_EQ(failure.what(), "port closed: " + failure.code().message());
  EXPECT_TRUE(port.is_open());
  port.close();
  EXPECT_FALSE(port.is_open());
}

TEST(serial_pty, a_modem_that_vanished_is_seen_by_every_later_read) {
  pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(modem_settings(), true);
  line.hang_up();
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(failure_of_read(port).code().value(), ENODEV);
  }
}

TEST(serial_pty, bytes_received_before_the_modem_vanished_are_not_lost) {
  pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(modem_settings(), true);
  line.send("last words!");
  std::string output;
  port.read(output, 1, long_enough);
  while (port.bytes_available() < 10) std::this_thread::yield();
  line.hang_up();
  EXPECT_EQ(failure_of_read(port, 11).code().value(), ENODEV);
  EXPECT_EQ(port.bytes_available(), 10U);
}

TEST(serial_pty, a_second_open_finds_the_port_busy) {
  const pseudo_terminal line;
  zet_serialport first(line.device());
  zet_serialport second(line.device());
  first.open(modem_settings(), true);
  const auto failure = failure_of_open(second, modem_settings());
  EXPECT_EQ(failure.error(), ERR_SERIALPORT_OPEN);
  EXPECT_EQ(failure.code(), std::error_code(EBUSY, std::system_category()));
  EXPECT_EQ(failure.what(), "error: ERR_SERIALPORT_OPEN message: Win32 open serialport error: " +
                                failure.code().message());
  EXPECT_FALSE(second.is_open());
  // The refused one has changed nothing for the first.
  line.send("abc");
  std::string output;
  first.read(output, 3, long_enough);
  EXPECT_EQ(output, "abc");
  first.close();
  second.open(modem_settings(), true);
  line.send("def");
  second.read(output, 3, long_enough);
  EXPECT_EQ(output, "abcdef");
}

TEST(serial_pty, two_ports_do_not_disturb_each_other) {
  const pseudo_terminal left_line;
  const pseudo_terminal right_line;
  zet_serialport left(left_line.device());
  zet_serialport right(right_line.device());
  left.open(modem_settings(), true);
  right.open(modem_settings(), true);
  left.close();
  right_line.send("still here");
  std::string output;
  right.read(output, 10, long_enough);
  EXPECT_EQ(output, "still here");
}

TEST(serial_pty, what_is_no_terminal_and_what_is_not_there_do_not_open) {
  zet_serialport missing("/dev/there-is-no-such-port");
  EXPECT_EQ(failure_of_open(missing, modem_settings()).code().value(), ENOENT);
  zet_serialport no_terminal("/dev/null");
  const auto failure = failure_of_open(no_terminal, modem_settings());
  EXPECT_EQ(failure.error(), ERR_SERIALPORT_OPEN);
  EXPECT_EQ(failure.code().value(), ENOTTY);
}

TEST(serial_pty, a_setting_that_the_line_cannot_hold_is_refused) {
  const pseudo_terminal line;
  auto settings = modem_settings();
  settings.stop_bits = stop_bits::one_and_a_half;
  zet_serialport port(line.device());
  auto failure = failure_of_open(port, settings);
  EXPECT_EQ(failure.error(), ERR_ASSIGN_SETTINGS);
  EXPECT_EQ(failure.what(), "error: ERR_ASSIGN_SETTINGS message: Win32 SetCommState error: " +
                                failure.code().message());
  port.close();
  for (const int bits : {0, 4, 9, 12, 255}) {
    settings = modem_settings();
    settings.character_size = static_cast<std::uint8_t>(bits);
    failure = failure_of_open(port, settings);
    EXPECT_EQ(failure.error(), ERR_ASSIGN_SETTINGS) << bits;
    EXPECT_EQ(failure.code().value(), EINVAL);
    EXPECT_TRUE(port.is_open());
    port.close();
  }
  settings = modem_settings();
  settings.baud_rate = 0;
  EXPECT_EQ(failure_of_open(port, settings).error(), ERR_ASSIGN_SETTINGS);
}

TEST(serial_pty, every_setting_that_a_line_could_hold_is_accepted) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  for (const std::uint32_t speed : {300U, 115200U, 1000000U, 1234567U}) {
    for (const int bits : {5, 6, 7, 8}) {
      for (const auto parity_mode : {parity::none, parity::odd, parity::even}) {
        for (const auto stop : {stop_bits::one, stop_bits::two}) {
          for (const auto flow :
               {flow_control::none, flow_control::software, flow_control::hardware}) {
            const zet_serialport_settings settings{speed, parity_mode, stop, flow,
                                                   static_cast<std::uint8_t>(bits)};
            EXPECT_NO_THROW(port.open(settings, true)) << to_string(settings);
            port.close();
          }
        }
      }
    }
  }
}

TEST(serial_pty, what_came_before_the_open_is_dropped_only_by_a_purge) {
  const pseudo_terminal line;
  // Holds the line open between the two ports, so that its queue stays.
  const int holder = open(line.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(holder, 0);
  zet_serialport port(line.device());
  port.open(modem_settings(), true);  // puts the line into raw mode
  port.close();
  line.send("old");
  // A purge drops what the driver holds; on their way to it bytes are not seen.
  for (int queued = 0; queued < 3;) ASSERT_EQ(ioctl(holder, FIONREAD, &queued), 0);
  port.open(modem_settings(), true);
  line.send("new");
  std::string output;
  port.read(output, 3, long_enough);
  EXPECT_EQ(output, "new");
  port.close();
  line.send("kept");
  port.open(modem_settings(), false);
  output.clear();
  port.read(output, 4, long_enough);
  EXPECT_EQ(output, "kept");
  close(holder);
}

TEST(serial_pty, a_worker_that_rests_is_woken_by_a_close_and_receives_what_came_meanwhile) {
  const pseudo_terminal line;
  const int holder = open(line.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(holder, 0);
  zet_serialport port(line.device());
  port.rest_between_reads(std::chrono::hours(1));
  port.open(modem_settings(), true);
  std::string output;
  line.send("a");  // after which it does not rest
  port.read(output, 1, long_enough);
  line.send("bcd");
  port.read(output, 3, long_enough);
  EXPECT_EQ(output, "abcd");
  line.send("last");
  for (int queued = 0; queued < 4;) ASSERT_EQ(ioctl(holder, FIONREAD, &queued), 0);
  port.close(true);
  output.clear();
  port.take_received(output, 100);
  EXPECT_EQ(output, "last");
  close(holder);
}

}  // namespace
}  // namespace zet_serialport_lib
