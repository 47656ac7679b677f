// The rx worker: its read cycles, and how each of its calls can fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <span>
#include <string>
#include <system_error>
#include <thread>

#include "implementation/zet_serialport/win32/zet_serialport_win32.h"
#include "implementation/zet_serialport/zet_serialport.h"
#include "tests/unit/implementation/zet_serialport/scripted_serial_api.h"

namespace zet_serialport_lib {
namespace {

using serial_test::operation;
using serial_test::scripted_serial_api;
using ::testing::ElementsAre;

class serial_worker : public ::testing::Test {
 protected:
  serial_worker() { script_.restart(); }
  ~serial_worker() override {
    EXPECT_EQ(script_.misuses(), 0);
    EXPECT_EQ(script_.open_ports(), 0);
    EXPECT_EQ(script_.open_events(), 0);
  }

  // Runs receive() on this thread until it throws, and checks what.
  void expect_receive_fails(zet_serialport_error error, int code, const std::string& name,
                            const std::string& context) {
    zet_serialport_win32 transport;
    transport.open("COM1");
    const auto port = transport.port();
    const auto released = transport.release();
    try {
      transport.receive(port, [this](std::span<const std::uint8_t> bytes) {
        received_.append(bytes.begin(), bytes.end());
      });
    } catch (const zet_serialport_exception& failure) {
      const std::error_code expected(code, std::system_category());
      EXPECT_EQ(failure.error(), error);
      EXPECT_EQ(failure.code(), expected);
      EXPECT_EQ(failure.what(),
                "error: " + name + " message: " + context + ": " + expected.message());
    }
    // The events of all cycles are gone; the two abort events are not.
    EXPECT_EQ(script_.open_events(), 2);
  }

  // Lets the worker of an open port end by an error, and reads what that gives.
  void expect_reads_fail_with(zet_serialport& port, int code) {
    const std::error_code expected(code, std::system_category());
    for (int attempt = 0; attempt < 2; ++attempt) {
      std::string output = "kept";
      try {
        port.read(output, 1);
        FAIL() << "read";
      } catch (const zet_serialport_exception& failure) {
        EXPECT_EQ(failure.error(), ERR_SERIALPORT_OPEN);
        EXPECT_EQ(failure.code(), expected);
        EXPECT_EQ(failure.what(), "port closed: " + expected.message());
      }
      EXPECT_EQ(output, "kept");
    }
    EXPECT_TRUE(port.is_open());
    EXPECT_EQ(script_.open_ports(), 1);
  }

  static std::error_code code_of_failing_read(zet_serialport& port) {
    try {
      std::string output;
      port.read(output, 1);
    } catch (const zet_serialport_exception& failure) {
      return failure.code();
    }
    ADD_FAILURE() << "read";
    return {};
  }

  scripted_serial_api& script_ = scripted_serial_api::instance();
  std::string received_;
};

TEST_F(serial_worker, asks_for_what_the_driver_holds_and_for_one_byte_when_that_is_nothing) {
  script_.deliver("twelve bytes");
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  std::string output;
  port.read(output, 12);
  ASSERT_TRUE(script_.await_calls(operation::wait, 1));
  EXPECT_EQ(output, "twelve bytes");
  EXPECT_THAT(script_.read_lengths(), ElementsAre(12U, 1U));
}

TEST_F(serial_worker, a_read_that_is_over_at_once_is_not_waited_for) {
  script_.deliver("abc");
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  std::string output;
  port.read(output, 3);
  EXPECT_EQ(output, "abc");
  EXPECT_EQ(script_.calls(operation::get_overlapped_result), 0);
}

TEST_F(serial_worker, a_read_that_is_pending_gives_what_came) {
  script_.deliver("abc", true);
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  std::string output;
  port.read(output, 3);
  EXPECT_EQ(output, "abc");
  EXPECT_EQ(script_.calls(operation::get_overlapped_result), 1);
}

TEST_F(serial_worker, a_waiting_read_takes_one_byte_and_the_next_cycle_the_rest) {
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  ASSERT_TRUE(script_.await_calls(operation::wait, 1));
  script_.deliver("0123456789");
  std::string output;
  port.read(output, 10);
  EXPECT_EQ(output, "0123456789");
  const auto lengths = script_.read_lengths();
  ASSERT_GE(lengths.size(), 2U);
  EXPECT_EQ(lengths[0], 1U);
  EXPECT_EQ(lengths[1], 9U);
}

TEST_F(serial_worker, every_cycle_has_an_unnamed_event_of_its_own_that_it_closes) {
  script_.deliver("abc");
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  ASSERT_TRUE(script_.await_calls(operation::wait, 1));
  EXPECT_THAT(script_.event_names(),
              ElementsAre("ZetSerialportAbortRxEvent", "ZetSerialportAbortWriteEvent", "", ""));
  EXPECT_EQ(script_.open_events(), 3);
  port.close();
  EXPECT_EQ(script_.open_events(), 2);
}

TEST_F(serial_worker, a_failing_ClearCommError_is_a_generic_error) {
  script_.fail(operation::clear_comm_error, ENODEV);
  expect_receive_fails(ERR_GENERIC, ENODEV, "ERR_GENERIC", "ClearComm failed");
  EXPECT_EQ(script_.calls(operation::cancel_io), 0);
}

TEST_F(serial_worker, a_read_that_neither_ends_nor_pends_is_a_generic_error) {
  script_.fail(operation::read_file, EIO);
  expect_receive_fails(ERR_GENERIC, EIO, "ERR_GENERIC", "Error not IO pending");
  EXPECT_EQ(script_.calls(operation::cancel_io), 0);
}

TEST_F(serial_worker, an_undefined_wait_result_is_a_generic_error) {
  for (const auto result : {2U, 128U, 258U, platform::serial::WAIT_FAILED}) {
    script_.restart();
    script_.give_wait_result(result, EBADF);
    expect_receive_fails(ERR_GENERIC, EBADF, "ERR_GENERIC",
                         "undefined result from WaitForMultipleObjects");
    EXPECT_EQ(script_.calls(operation::cancel_io), 1);
  }
}

TEST_F(serial_worker, the_abort_event_cancels_the_pending_read) {
  script_.give_wait_result(1, ECANCELED);
  expect_receive_fails(ERR_OPERATION_CANCELLED, ECANCELED, "ERR_OPERATION_CANCELLED",
                       "wait rx aborted");
  EXPECT_EQ(script_.calls(operation::cancel_io), 1);
}

TEST_F(serial_worker, a_failing_GetOverlappedResult_is_a_generic_error) {
  script_.fail(operation::get_overlapped_result, ENODEV);
  expect_receive_fails(ERR_GENERIC, ENODEV, "ERR_GENERIC", "GetOverlappedResult failed");
  EXPECT_EQ(script_.calls(operation::cancel_io), 1);
}

TEST_F(serial_worker, a_pending_read_is_over_before_its_buffer_dies) {
  script_.give_wait_result(1, ECANCELED);
  expect_receive_fails(ERR_OPERATION_CANCELLED, ECANCELED, "ERR_OPERATION_CANCELLED",
                       "wait rx aborted");
  const auto history = script_.history();
  const auto cancelled = std::find(history.begin(), history.end(), operation::cancel_io);
  ASSERT_NE(cancelled, history.end());
  EXPECT_EQ(cancelled[1], operation::get_overlapped_result);
  EXPECT_EQ(cancelled[2], operation::close_event);
}

TEST_F(serial_worker, bytes_that_a_cancelled_read_still_brought_are_kept) {
  script_.give_wait_result(1, ECANCELED);
  script_.deliver_on_cancel("x");
  expect_receive_fails(ERR_OPERATION_CANCELLED, ECANCELED, "ERR_OPERATION_CANCELLED",
                       "wait rx aborted");
  EXPECT_EQ(received_, "x");
}

TEST_F(serial_worker, an_abort_drops_or_takes_what_the_driver_has_queued) {
  for (const bool take_queued : {false, true}) {
    script_.restart();
    script_.deliver("queued");
    zet_serialport_win32 transport;
    transport.open("COM1");
    transport.reset_events();
    const auto port = transport.port();
    const auto released = transport.release();
    transport.abort_receive(take_queued);
    std::string received;
    EXPECT_THROW(transport.receive(port,
                                   [&](std::span<const std::uint8_t> bytes) {
                                     received.append(bytes.begin(), bytes.end());
                                   }),
                 zet_serialport_exception);
    EXPECT_EQ(received, take_queued ? "queued" : "");
  }
}

TEST_F(serial_worker, an_abort_of_a_silent_line_waits_for_nothing) {
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  port.close(/*take_queued=*/true);
  EXPECT_EQ(port.bytes_available(), 0U);
}

TEST_F(serial_worker, after_an_error_each_read_carries_the_systems_code) {
  const std::pair<operation, int> failures[] = {{operation::clear_comm_error, ENODEV},
                                                {operation::read_file, EIO},
                                                {operation::get_overlapped_result, ENXIO}};
  for (const auto& [failing, code] : failures) {
    script_.restart();
    script_.fail(failing, static_cast<platform::serial::DWORD>(code));
    zet_serialport port("COM1");
    port.open(std::nullopt, false);
    expect_reads_fail_with(port, code);
    port.close();
  }
  script_.restart();
  script_.give_wait_result(platform::serial::WAIT_FAILED, EMFILE);
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  expect_reads_fail_with(port, EMFILE);
}

TEST_F(serial_worker, an_error_while_a_read_waits_reaches_it_with_its_code) {
  for (int round = 0; round < 200; ++round) {
    script_.restart();
    zet_serialport port("COM1");
    port.open(std::nullopt, false);
    std::thread breaker(
        [this] { script_.give_wait_result(platform::serial::WAIT_FAILED, ENODEV); });
    std::string output;
    try {
      port.read(output, 1);
      ADD_FAILURE() << "read";
    } catch (const zet_serialport_exception& failure) {
      EXPECT_EQ(failure.code().value(), ENODEV);
    }
    breaker.join();
  }
}

TEST_F(serial_worker, bytes_received_before_an_error_are_there_after_the_next_open) {
  script_.deliver("early");
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  ASSERT_TRUE(script_.await_calls(operation::wait, 1));
  script_.give_wait_result(platform::serial::WAIT_FAILED, EIO);
  std::string output;
  EXPECT_THROW(port.read(output, 6), zet_serialport_exception);
  EXPECT_EQ(port.bytes_available(), 5U);
  port.close();
  script_.pass(operation::wait);
  port.open(std::nullopt, false);
  port.read(output, 5);
  EXPECT_EQ(output, "early");
}

TEST_F(serial_worker, a_close_is_the_reason_even_after_an_earlier_worker_ended_by_an_error) {
  // On a line that never waits, a worker ends by what it finds out itself.
  script_.never_fall_silent();
  for (int round = 0; round < 100 && !HasFailure(); ++round) {
    zet_serialport port("COM1");
    script_.fail(operation::clear_comm_error, ENODEV);
    port.open(std::nullopt, false);
    expect_reads_fail_with(port, ENODEV);
    port.close();
    EXPECT_EQ(code_of_failing_read(port).value(), ENODEV);
    script_.pass(operation::clear_comm_error);
    port.open(std::nullopt, false);
    std::thread closer([&port] { port.close(); });
    // Between the port's close and its worker's end.
    while (port.is_open()) {
    }
    EXPECT_EQ(code_of_failing_read(port), std::errc::operation_canceled);
    closer.join();
    EXPECT_EQ(code_of_failing_read(port), std::errc::operation_canceled);
  }
}

class serial_worker_death : public serial_worker {
 protected:
  serial_worker_death() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(serial_worker_death, any_other_exception_is_a_broken_contract) {
  EXPECT_DEATH(
      {
        script_.throw_foreign_exception();
        zet_serialport port("COM1");
        port.open(std::nullopt, false);
        std::string output;
        port.read(output, 1);
      },
      "zet_serialport.*Assertion `false'");
}

}  // namespace
}  // namespace zet_serialport_lib
