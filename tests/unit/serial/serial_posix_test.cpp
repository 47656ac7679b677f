// The operations of platform/serial_api.h on a system without Win32.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "platform/pseudo_terminal.h"
#include "platform/serial_api.h"

namespace platform::serial {
namespace {

HANDLE open_port(const pseudo_terminal& line) {
  return CreateFileA(line.device().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                     FILE_FLAG_OVERLAPPED, nullptr);
}

HANDLE new_event() {
  return CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

DWORD wait_for(HANDLE event) {
  return WaitForMultipleObjects(1, &event, FALSE, INFINITE);
}

// Waits never end without an event: with one that is set behind it, they do.
bool is_set(HANDLE event) {
  const HANDLE last = new_event();
  SetEvent(last);
  const HANDLE events[] = {event, last};
  const DWORD first = WaitForMultipleObjects(2, events, FALSE, INFINITE);
  CloseHandle(last);
  return first == WAIT_OBJECT_0;
}

class serial_posix : public ::testing::Test {
 protected:
  serial_posix() : port_(open_port(*line_)), event_(new_event()) {
    EXPECT_NE(port_, INVALID_HANDLE_VALUE);
  }
  ~serial_posix() override {
    CloseHandle(port_);
    CloseHandle(event_);
  }

  void send(std::string_view bytes) {
    ASSERT_EQ(line_->wait_for_reader({}, {}), pseudo_terminal::outcome::done);
    ASSERT_EQ(line_->write(bytes), pseudo_terminal::outcome::done);
  }

  BOOL start_read(DWORD count) {
    overlapped_ = {};
    overlapped_.hEvent = event_;
    return ReadFile(port_, buffer_.data(), count, &transferred_, &overlapped_);
  }

  // The outcome of the read.
  BOOL finish_read() { return GetOverlappedResult(port_, &overlapped_, &transferred_, TRUE); }

  DWORD queued() {
    COMSTAT status{};
    EXPECT_EQ(ClearCommError(port_, nullptr, &status), TRUE);
    return status.cbInQue;
  }

  // The kernel hands bytes over in its own time; that is not an operation's business.
  void await_queued(DWORD count) {
    while (queued() < count) std::this_thread::yield();
    ASSERT_EQ(queued(), count);
  }

  std::string read_bytes() const { return {buffer_.data(), transferred_}; }

  std::optional<pseudo_terminal> line_{std::in_place};
  HANDLE port_;
  HANDLE event_;
  OVERLAPPED overlapped_{};
  std::array<char, 64> buffer_{};
  DWORD transferred_ = 0;
};

TEST_F(serial_posix, an_event_is_set_and_reset_by_hand) {
  EXPECT_FALSE(is_set(event_));
  EXPECT_EQ(SetEvent(event_), TRUE);
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  EXPECT_EQ(ResetEvent(event_), TRUE);
  EXPECT_FALSE(is_set(event_));
}

TEST_F(serial_posix, two_events_with_one_name_are_two_events) {
  const HANDLE first = CreateEventA(nullptr, TRUE, FALSE, "ZetSerialportAbortRxEvent");
  const HANDLE second = CreateEventA(nullptr, TRUE, FALSE, "ZetSerialportAbortRxEvent");
  SetEvent(first);
  EXPECT_TRUE(is_set(first));
  EXPECT_FALSE(is_set(second));
  CloseHandle(first);
  CloseHandle(second);
}

TEST_F(serial_posix, a_wait_returns_the_first_event_that_is_set) {
  const HANDLE events[] = {new_event(), new_event(), new_event()};
  SetEvent(events[2]);
  EXPECT_EQ(WaitForMultipleObjects(3, events, FALSE, INFINITE), 2U);
  SetEvent(events[1]);
  EXPECT_EQ(WaitForMultipleObjects(3, events, FALSE, INFINITE), 1U);
  for (const HANDLE event : events) CloseHandle(event);
}

TEST_F(serial_posix, a_wait_for_an_event_another_thread_sets_returns) {
  std::thread setter([this] { SetEvent(event_); });
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  setter.join();
}

TEST_F(serial_posix, an_open_port_is_marked_exclusive_and_locked_until_it_is_closed) {
  // Opened before the port would be refused to other users; root gets this far.
  CloseHandle(port_);
  const int other = open(line_->device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(other, 0);
  port_ = open_port(*line_);
  int exclusive = 0;
  ASSERT_EQ(ioctl(other, TIOCGEXCL, &exclusive), 0);
  EXPECT_NE(exclusive, 0);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1);
  EXPECT_EQ(open_port(*line_), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY));
  CloseHandle(port_);
  ASSERT_EQ(ioctl(other, TIOCGEXCL, &exclusive), 0);
  EXPECT_EQ(exclusive, 0);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(open_port(*line_), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY));
  close(other);
  port_ = open_port(*line_);
  EXPECT_NE(port_, INVALID_HANDLE_VALUE);
}

TEST_F(serial_posix, a_read_of_what_is_there_is_over_at_once) {
  send("abc");
  await_queued(3);
  EXPECT_EQ(start_read(3), TRUE);
  EXPECT_EQ(read_bytes(), "abc");
  EXPECT_TRUE(is_set(event_));
  transferred_ = 0;
  EXPECT_EQ(finish_read(), TRUE);
  EXPECT_EQ(transferred_, 3U);
}

TEST_F(serial_posix, a_read_of_nothing_pends_until_a_byte_comes) {
  EXPECT_EQ(start_read(8), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_IO_PENDING);
  EXPECT_FALSE(is_set(event_));
  send("x");
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  EXPECT_EQ(finish_read(), TRUE);
  EXPECT_EQ(read_bytes(), "x");
}

TEST_F(serial_posix, a_wait_ended_by_another_event_leaves_the_read_pending) {
  EXPECT_EQ(start_read(8), FALSE);
  const HANDLE abort = new_event();
  SetEvent(abort);
  const HANDLE events[] = {event_, abort};
  EXPECT_EQ(WaitForMultipleObjects(2, events, FALSE, INFINITE), 1U);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ECANCELED));
  send("z");
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  EXPECT_EQ(finish_read(), TRUE);
  EXPECT_EQ(read_bytes(), "z");
  CloseHandle(abort);
}

TEST_F(serial_posix, a_cancelled_read_takes_no_byte_that_comes_later) {
  EXPECT_EQ(start_read(8), FALSE);
  EXPECT_EQ(CancelIoEx(port_, &overlapped_), TRUE);
  EXPECT_TRUE(is_set(event_));
  EXPECT_EQ(finish_read(), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ECANCELED));
  EXPECT_EQ(CancelIoEx(port_, &overlapped_), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENOENT));
  send("later");
  await_queued(5);
  EXPECT_EQ(buffer_[0], 0);
  EXPECT_EQ(start_read(5), TRUE);
  EXPECT_EQ(read_bytes(), "later");
}

TEST_F(serial_posix, purging_drops_what_is_queued) {
  send("abc");
  await_queued(3);
  EXPECT_EQ(PurgeComm(port_, PURGE_RXCLEAR | PURGE_TXCLEAR), TRUE);
  EXPECT_EQ(queued(), 0U);
}

TEST_F(serial_posix, a_line_that_hangs_up_ends_a_pending_read) {
  EXPECT_EQ(start_read(8), FALSE);
  line_.reset();
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  EXPECT_EQ(finish_read(), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENODEV));
}

TEST_F(serial_posix, every_operation_on_a_vanished_device_says_so) {
  line_.reset();
  COMSTAT status{};
  DCB dcb{};
  EXPECT_EQ(ClearCommError(port_, nullptr, &status), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENODEV));
  EXPECT_EQ(GetCommState(port_, &dcb), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENODEV));
  EXPECT_EQ(PurgeComm(port_, 15), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENODEV));
  EXPECT_EQ(start_read(8), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENODEV));
}

TEST_F(serial_posix, settings_read_back_as_they_were_set) {
  DCB dcb{};
  ASSERT_EQ(GetCommState(port_, &dcb), TRUE);
  EXPECT_EQ(dcb.DCBlength, 28U);
  EXPECT_EQ(dcb.fBinary, 1U);
  EXPECT_EQ(dcb.ByteSize, 8);
  EXPECT_EQ(dcb.fDtrControl, DTR_CONTROL_ENABLE);
  dcb.BaudRate = 1000000;
  dcb.StopBits = TWOSTOPBITS;
  dcb.fOutX = 1;
  dcb.fInX = 1;
  dcb.XonChar = 0x11;
  dcb.XoffChar = 0x13;
  ASSERT_EQ(SetCommState(port_, &dcb), TRUE);
  DCB again{};
  ASSERT_EQ(GetCommState(port_, &again), TRUE);
  EXPECT_EQ(std::memcmp(&dcb, &again, sizeof dcb), 0);

  dcb.fOutX = 0;
  dcb.fInX = 0;
  dcb.fOutxCtsFlow = 1;
  dcb.fRtsControl = RTS_CONTROL_HANDSHAKE;
  dcb.BaudRate = 123456;
  ASSERT_EQ(SetCommState(port_, &dcb), TRUE);
  ASSERT_EQ(GetCommState(port_, &again), TRUE);
  EXPECT_EQ(std::memcmp(&dcb, &again, sizeof dcb), 0);
}

TEST_F(serial_posix, settings_that_no_line_can_hold_are_refused_and_change_nothing) {
  DCB good{};
  ASSERT_EQ(GetCommState(port_, &good), TRUE);
  const auto refused = [&](auto change) {
    DCB dcb = good;
    change(dcb);
    const bool failed = SetCommState(port_, &dcb) == FALSE && GetLastError() == EINVAL;
    DCB now{};
    return failed && GetCommState(port_, &now) == TRUE && std::memcmp(&now, &good, sizeof now) == 0;
  };
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.StopBits = ONE5STOPBITS; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.StopBits = 3; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.ByteSize = 12; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.ByteSize = 4; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.Parity = 5; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.BaudRate = 0; }));
}

TEST_F(serial_posix, the_last_error_is_each_threads_own) {
  EXPECT_EQ(start_read(8), FALSE);
  std::thread([] { EXPECT_EQ(GetLastError(), 0U); }).join();
  EXPECT_EQ(GetLastError(), ERROR_IO_PENDING);
  CancelIoEx(port_, &overlapped_);
}

}  // namespace
}  // namespace platform::serial
