// scripted_serial_api.h - the serial port's operations as a test wants them: each
// call can be made to fail, and everything asked for is on record.
//
// Linked in place of the platform's own operations. One script for the process;
// every test begins with restart(). Any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/serial_api.h"

namespace serial_test {

using platform::serial::BOOL;
using platform::serial::DCB;
using platform::serial::DWORD;
using platform::serial::HANDLE;
using platform::serial::OVERLAPPED;

enum class operation {
  create_event,
  create_file,
  get_comm_state,
  set_comm_state,
  purge_comm,
  clear_comm_error,
  read_file,
  wait,
  get_overlapped_result,
  cancel_io,
  set_event,
  reset_event,
  close_event,
  close_port,
};

class scripted_serial_api {
 public:
  static scripted_serial_api& instance();

  // Forgets every record and every instruction.
  void restart();

  // From now on `failing` fails with `error`, or until pass() is called.
  void fail(operation failing, DWORD error);
  void pass(operation passing);

  // The result that waits give at once, until pass().
  void give_wait_result(DWORD result, DWORD error);

  // What CreateEventA gives for a named event, instead of an event.
  void give_named_events(HANDLE handle);

  // ClearCommError throws an exception that is not a serial port's.
  void throw_foreign_exception();

  // Bytes the driver has received. With `pending_first` a read of them starts
  // as one under way and is over in the wait.
  void deliver(const std::string& bytes, bool pending_first = false);

  // The line delivers forever, so that no read ever waits.
  void never_fall_silent();

  // What the driver reports as settings.
  void set_comm_state(const DCB& dcb);

  // Bytes that a cancelled read turns out to have transferred.
  void deliver_on_cancel(const std::string& bytes);

  // Waits until `awaited` was called `count` times; false after ten seconds.
  bool await_calls(operation awaited, int count);

  int calls(operation counted) const;
  std::vector<operation> history() const;
  std::vector<std::string> event_names() const;
  std::string opened_device() const;
  std::vector<DWORD> create_file_arguments() const;
  DCB assigned_settings() const;
  DWORD purge_flags() const;
  std::vector<DWORD> read_lengths() const;
  int open_events() const;
  int open_ports() const;

  // Calls with a handle that was closed, or that never was one.
  int misuses() const;

  // The operations themselves.
  HANDLE create_event(BOOL manual_reset, BOOL initial_state, const char* name);
  BOOL change_event(HANDLE event, bool set);
  HANDLE create_file(const char* path, const std::vector<DWORD>& arguments);
  BOOL get_settings(HANDLE port, DCB* dcb);
  BOOL set_settings(HANDLE port, const DCB* dcb);
  BOOL purge(HANDLE port, DWORD flags);
  BOOL status(HANDLE port, DWORD* queued);
  BOOL read(HANDLE port, void* buffer, DWORD count, DWORD* transferred, OVERLAPPED* overlapped);
  BOOL result(HANDLE port, OVERLAPPED* overlapped, DWORD* transferred);
  BOOL cancel(HANDLE port, OVERLAPPED* overlapped);
  DWORD wait(const HANDLE* handles, DWORD count, bool forever);
  BOOL close(HANDLE handle);

 private:
  struct pending_read {
    void* buffer;
    DWORD count;
    OVERLAPPED* overlapped;
  };

  // Counts the call; false when it is to fail.
  bool enter(operation entered);
  bool is_open_port(HANDLE port);
  DWORD take(void* buffer, DWORD count);
  HANDLE next_handle();

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::uintptr_t last_handle_ = 0;
  std::map<HANDLE, bool> events_;
  std::map<HANDLE, bool> ports_;  // true while open
  std::vector<operation> history_;
  std::map<operation, DWORD> failures_;
  std::optional<std::pair<DWORD, DWORD>> wait_result_;
  std::optional<HANDLE> named_events_;
  bool foreign_exception_ = false;
  bool pending_first_ = false;
  bool never_silent_ = false;
  std::deque<char> incoming_;
  std::string on_cancel_;
  std::optional<pending_read> pending_;
  std::vector<std::string> event_names_;
  std::string opened_device_;
  std::vector<DWORD> create_file_arguments_;
  DCB reported_{};
  DCB assigned_{};
  DWORD purge_flags_ = 0;
  std::vector<DWORD> read_lengths_;
  int misuses_ = 0;
};

}  // namespace serial_test
