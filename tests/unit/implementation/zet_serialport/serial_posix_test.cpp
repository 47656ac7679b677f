// The operations of platform/serial_api.h on a system without Win32.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <set>
#include <string>
#include <thread>

#include "platform/serial_api.h"
#include "tests/unit/implementation/zet_serialport/pseudo_terminal.h"

namespace platform::serial {
namespace {

using serial_test::pseudo_terminal;
using steady = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds long_enough = std::chrono::hours(1);

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

// Without waiting: beside an event that is set.
bool is_set(HANDLE event) {
  const HANDLE set = new_event();
  SetEvent(set);
  const HANDLE events[] = {event, set};
  const DWORD first = WaitForMultipleObjects(2, events, FALSE, INFINITE);
  CloseHandle(set);
  return first == WAIT_OBJECT_0;
}

class serial_posix : public ::testing::Test {
 protected:
  serial_posix() : port_(open_port(line_)), event_(new_event()) {
    EXPECT_NE(port_, INVALID_HANDLE_VALUE);
    overlapped_.hEvent = event_;
  }
  ~serial_posix() override {
    CloseHandle(port_);
    CloseHandle(event_);
  }

  BOOL start_read(DWORD count) {
    overlapped_ = {};
    overlapped_.hEvent = event_;
    return ReadFile(port_, buffer_.data(), count, &transferred_, &overlapped_);
  }

  DWORD queued() {
    COMSTAT status{};
    EXPECT_EQ(ClearCommError(port_, nullptr, &status), TRUE);
    return status.cbInQue;
  }

  // The kernel hands bytes over in its own time, whatever operation runs.
  void await_queued(DWORD count) {
    const auto deadline = steady::now() + long_enough;
    while (queued() < count && steady::now() < deadline) std::this_thread::yield();
    ASSERT_EQ(queued(), count);
  }

  std::string read_bytes() const { return {buffer_.data(), transferred_}; }

  pseudo_terminal line_;
  HANDLE port_;
  HANDLE event_;
  OVERLAPPED overlapped_{};
  std::array<char, 64> buffer_{};
  DWORD transferred_ = 0;
};

TEST_F(serial_posix, an_event_is_set_and_reset_by_hand) {
  EXPECT_FALSE(is_set(event_));
  EXPECT_EQ(SetEvent(event_), TRUE);
  EXPECT_TRUE(is_set(event_));
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

TEST_F(serial_posix, other_kinds_of_events_are_refused) {
  EXPECT_EQ(CreateEventA(nullptr, FALSE, FALSE, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EINVAL));
  EXPECT_EQ(CreateEventA(nullptr, TRUE, TRUE, nullptr), nullptr);
}

TEST_F(serial_posix, a_wait_returns_the_first_event_that_is_set) {
  const HANDLE events[] = {new_event(), new_event()};
  SetEvent(events[1]);
  EXPECT_EQ(WaitForMultipleObjects(2, events, FALSE, INFINITE), 1U);
  SetEvent(events[0]);
  EXPECT_EQ(WaitForMultipleObjects(2, events, FALSE, INFINITE), 0U);
  for (const HANDLE event : events) CloseHandle(event);
}

TEST_F(serial_posix, a_wait_for_an_event_another_thread_sets_returns) {
  std::thread setter([this] { SetEvent(event_); });
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  setter.join();
}

TEST_F(serial_posix, waits_that_are_not_supported_fail) {
  const HANDLE many[] = {event_, event_, event_};
  const auto is_refused = [&many](DWORD count, BOOL wait_all, DWORD timeout) {
    return WaitForMultipleObjects(count, many, wait_all, timeout) == WAIT_FAILED &&
           GetLastError() == static_cast<DWORD>(EINVAL);
  };
  EXPECT_TRUE(is_refused(0, FALSE, INFINITE));
  EXPECT_TRUE(is_refused(3, FALSE, INFINITE));
  EXPECT_TRUE(is_refused(1, TRUE, INFINITE));
  EXPECT_TRUE(is_refused(1, FALSE, 1000));
  EXPECT_EQ(WaitForMultipleObjects(1, &port_, FALSE, INFINITE), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBADF));
}

TEST_F(serial_posix, closed_and_foreign_handles_are_refused_everywhere) {
  const HANDLE closed = new_event();
  EXPECT_EQ(CloseHandle(closed), TRUE);
  DCB dcb{};
  COMSTAT status{};
  for (const HANDLE handle : {closed, HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    EXPECT_EQ(CloseHandle(handle), FALSE);
    EXPECT_EQ(SetEvent(handle), FALSE);
    EXPECT_EQ(ResetEvent(handle), FALSE);
    EXPECT_EQ(GetCommState(handle, &dcb), FALSE);
    EXPECT_EQ(SetCommState(handle, &dcb), FALSE);
    EXPECT_EQ(PurgeComm(handle, 15), FALSE);
    EXPECT_EQ(ClearCommError(handle, nullptr, &status), FALSE);
    EXPECT_EQ(ReadFile(handle, buffer_.data(), 1, &transferred_, &overlapped_), FALSE);
    EXPECT_EQ(GetOverlappedResult(handle, &overlapped_, &transferred_, TRUE), FALSE);
    EXPECT_EQ(CancelIoEx(handle, &overlapped_), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBADF));
  }
  // An event is not a port.
  EXPECT_EQ(ClearCommError(event_, nullptr, &status), FALSE);
}

TEST_F(serial_posix, handle_values_are_never_used_twice) {
  std::set<HANDLE> seen;
  for (int i = 0; i < 1000; ++i) {
    const HANDLE event = new_event();
    EXPECT_TRUE(seen.insert(event).second);
    CloseHandle(event);
  }
}

TEST_F(serial_posix, only_an_exclusive_overlapped_open_of_a_terminal_is_supported) {
  const auto open_with = [this](DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    return CreateFileA(line_.device().c_str(), access, share, nullptr, disposition, flags, nullptr);
  };
  CloseHandle(port_);
  constexpr DWORD both = GENERIC_READ | GENERIC_WRITE;
  EXPECT_EQ(open_with(GENERIC_READ, 0, OPEN_EXISTING, FILE_FLAG_OVERLAPPED), INVALID_HANDLE_VALUE);
  EXPECT_EQ(open_with(both, 1, OPEN_EXISTING, FILE_FLAG_OVERLAPPED), INVALID_HANDLE_VALUE);
  EXPECT_EQ(open_with(both, 0, 2, FILE_FLAG_OVERLAPPED), INVALID_HANDLE_VALUE);
  EXPECT_EQ(open_with(both, 0, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EINVAL));
  port_ = open_with(both, 0, OPEN_EXISTING, FILE_FLAG_OVERLAPPED);
  EXPECT_NE(port_, INVALID_HANDLE_VALUE);
}

TEST_F(serial_posix, an_open_port_is_marked_exclusive_and_locked_until_it_is_closed) {
  // Opened before the port would be refused to other users; root gets this far.
  CloseHandle(port_);
  const int other = open(line_.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(other, 0);
  port_ = open_port(line_);
  int exclusive = 0;
  ASSERT_EQ(ioctl(other, TIOCGEXCL, &exclusive), 0);
  EXPECT_NE(exclusive, 0);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1);
  EXPECT_EQ(open_port(line_), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY));
  CloseHandle(port_);
  ASSERT_EQ(ioctl(other, TIOCGEXCL, &exclusive), 0);
  EXPECT_EQ(exclusive, 0);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(open_port(line_), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY));
  close(other);
  port_ = open_port(line_);
  EXPECT_NE(port_, INVALID_HANDLE_VALUE);
}

TEST_F(serial_posix, a_read_of_what_is_there_is_over_at_once) {
  line_.send("abc");
  await_queued(3);
  EXPECT_EQ(start_read(3), TRUE);
  EXPECT_EQ(read_bytes(), "abc");
  EXPECT_TRUE(is_set(event_));
  transferred_ = 0;
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, TRUE), TRUE);
  EXPECT_EQ(transferred_, 3U);
}

TEST_F(serial_posix, a_read_of_nothing_pends_until_a_byte_comes) {
  EXPECT_EQ(start_read(8), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_IO_PENDING);
  EXPECT_FALSE(is_set(event_));
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, FALSE), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_IO_INCOMPLETE);
  line_.send("x");
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, TRUE), TRUE);
  EXPECT_EQ(read_bytes(), "x");
}

TEST_F(serial_posix, the_result_of_a_pending_read_can_be_waited_for) {
  EXPECT_EQ(start_read(8), FALSE);
  std::thread modem([this] { line_.send("y"); });
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, TRUE), TRUE);
  EXPECT_EQ(read_bytes(), "y");
  modem.join();
}

TEST_F(serial_posix, a_wait_ended_by_another_event_leaves_the_read_pending) {
  EXPECT_EQ(start_read(8), FALSE);
  const HANDLE abort = new_event();
  SetEvent(abort);
  const HANDLE events[] = {event_, abort};
  EXPECT_EQ(WaitForMultipleObjects(2, events, FALSE, INFINITE), 1U);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ECANCELED));
  line_.send("z");
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, TRUE), TRUE);
  EXPECT_EQ(read_bytes(), "z");
  CloseHandle(abort);
}

TEST_F(serial_posix, a_read_that_begins_while_its_event_is_waited_for_ends_the_wait) {
  // The waiting thread is the only one that moves the read on.
  std::atomic<bool> waiting = false;
  std::thread waiter([this, &waiting] {
    waiting = true;
    EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  });
  while (!waiting) std::this_thread::yield();
  EXPECT_EQ(start_read(8), FALSE);
  line_.send("q");
  waiter.join();
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, FALSE), TRUE);
  EXPECT_EQ(read_bytes(), "q");
}

TEST_F(serial_posix, a_cancelled_read_takes_no_byte_that_comes_later) {
  EXPECT_EQ(start_read(8), FALSE);
  EXPECT_EQ(CancelIoEx(port_, &overlapped_), TRUE);
  EXPECT_TRUE(is_set(event_));
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, TRUE), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ECANCELED));
  EXPECT_EQ(CancelIoEx(port_, &overlapped_), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENOENT));
  line_.send("later");
  await_queued(5);
  EXPECT_EQ(buffer_[0], 0);
  EXPECT_EQ(start_read(5), TRUE);
  EXPECT_EQ(read_bytes(), "later");
}

TEST_F(serial_posix, cancelling_another_read_does_nothing) {
  EXPECT_EQ(start_read(8), FALSE);
  OVERLAPPED other{};
  EXPECT_EQ(CancelIoEx(port_, &other), FALSE);
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, FALSE), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_IO_INCOMPLETE);
}

TEST_F(serial_posix, a_port_reads_once_at_a_time_and_needs_an_event) {
  EXPECT_EQ(start_read(8), FALSE);
  OVERLAPPED second{};
  EXPECT_EQ(ReadFile(port_, buffer_.data(), 1, &transferred_, &second), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EINVAL));
  second.hEvent = event_;
  EXPECT_EQ(ReadFile(port_, buffer_.data(), 1, &transferred_, &second), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY));
}

TEST_F(serial_posix, purging_ends_a_pending_read_and_drops_what_is_queued) {
  EXPECT_EQ(start_read(8), FALSE);
  EXPECT_EQ(PurgeComm(port_, PURGE_RXABORT), TRUE);
  EXPECT_TRUE(is_set(event_));
  line_.send("abc");
  await_queued(3);
  EXPECT_EQ(PurgeComm(port_, PURGE_TXCLEAR), TRUE);
  EXPECT_EQ(queued(), 3U);
  EXPECT_EQ(PurgeComm(port_, PURGE_RXCLEAR), TRUE);
  EXPECT_EQ(queued(), 0U);
}

TEST_F(serial_posix, a_line_that_hangs_up_ends_a_pending_read) {
  EXPECT_EQ(start_read(8), FALSE);
  line_.hang_up();
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  EXPECT_EQ(GetOverlappedResult(port_, &overlapped_, &transferred_, TRUE), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENODEV));
}

TEST_F(serial_posix, every_operation_on_a_vanished_device_says_so) {
  line_.hang_up();
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

TEST_F(serial_posix, closing_a_port_ends_its_pending_read) {
  EXPECT_EQ(start_read(8), FALSE);
  std::thread closer([this] { CloseHandle(port_); });
  EXPECT_EQ(wait_for(event_), WAIT_OBJECT_0);
  closer.join();
  EXPECT_EQ(overlapped_.Internal, static_cast<std::uintptr_t>(ECANCELED));
}

TEST_F(serial_posix, an_event_may_be_closed_while_another_thread_waits_for_it) {
  for (int round = 0; round < 200; ++round) {
    const HANDLE event = new_event();
    const HANDLE events[] = {event, event_};
    ResetEvent(event_);
    std::thread other([this, event] {
      CloseHandle(event);
      SetEvent(event_);
    });
    const DWORD result = WaitForMultipleObjects(2, events, FALSE, INFINITE);
    EXPECT_TRUE(result == 1U || (result == WAIT_FAILED && GetLastError() == EBADF)) << result;
    other.join();
  }
}

TEST_F(serial_posix, a_port_closed_under_running_calls_never_reads_from_another_file) {
  // While one thread closes the port, another reads it, and a third opens
  // descriptors that would get the number of one closed too early. Their content
  // must never appear in the buffer.
  std::array<int, 2> pipe_ends{};
  for (int round = 0; round < 300; ++round) {
    const pseudo_terminal line;
    const HANDLE port = open_port(line);
    ASSERT_NE(port, INVALID_HANDLE_VALUE);
    const HANDLE event = new_event();
    std::string seen;
    std::thread reader([port, event, &seen] {
      for (;;) {
        OVERLAPPED overlapped{};
        overlapped.hEvent = event;
        char byte = 0;
        DWORD count = 0;
        if (ReadFile(port, &byte, 1, &count, &overlapped) == FALSE) {
          if (GetLastError() != ERROR_IO_PENDING) return;
          if (GetOverlappedResult(port, &overlapped, &count, TRUE) == FALSE) return;
        }
        seen.append(&byte, count);
      }
    });
    line.send("aaaa");
    CloseHandle(port);
    ASSERT_EQ(pipe(pipe_ends.data()), 0);
    ASSERT_EQ(write(pipe_ends[1], "bbbb", 4), 4);
    reader.join();
    EXPECT_EQ(seen.find('b'), std::string::npos);
    char content[4] = {};
    EXPECT_EQ(read(pipe_ends[0], content, sizeof content), 4);
    close(pipe_ends[0]);
    close(pipe_ends[1]);
    CloseHandle(event);
  }
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
  dcb.fTXContinueOnXoff = 1;
  dcb.XonLim = 17;
  dcb.XoffLim = 18;
  dcb.ErrorChar = 'e';
  dcb.EofChar = 'f';
  dcb.EvtChar = 'v';
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
  dcb.fDtrControl = DTR_CONTROL_DISABLE;
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
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fBinary = 0; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fNull = 1; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fErrorChar = 1; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fAbortOnError = 1; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fOutxDsrFlow = 1; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fDsrSensitivity = 1; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fDtrControl = DTR_CONTROL_HANDSHAKE; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fRtsControl = RTS_CONTROL_TOGGLE; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fRtsControl = RTS_CONTROL_HANDSHAKE; }));
  EXPECT_TRUE(refused([](DCB& dcb) { dcb.fOutxCtsFlow = 1; }));
}

TEST_F(serial_posix, the_last_error_is_each_threads_own) {
  EXPECT_EQ(SetEvent(nullptr), FALSE);
  std::thread other([] {
    EXPECT_EQ(GetLastError(), 0U);
    EXPECT_EQ(CreateEventA(nullptr, FALSE, FALSE, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(EINVAL));
  });
  other.join();
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBADF));
}

}  // namespace
}  // namespace platform::serial
