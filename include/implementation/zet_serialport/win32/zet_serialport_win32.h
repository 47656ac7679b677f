// zet_serialport_win32.h - the serial transport over the Win32 operations.
//
// Every call to the operating system is one of the operations that
// platform/serial_api.h describes. The build names the header that declares
// them: Win32's own on Windows, that one elsewhere.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include VELTRA_SERIAL_API

#include "implementation/zet_serialport/zet_serialport_settings.h"

namespace zet_serialport_lib {

// Writes into `dcb` what `settings` sets, and what always holds (the length and
// binary mode); everything else keeps its value.
void fill_device_control_block(const zet_serialport_settings& settings, platform::serial::DCB& dcb);

// The device of a zet_serialport and its two abort events. The owner orders the
// calls: open(), reset_events(), apply(), purge(), then receive() on the rx
// worker; release() and abort_receive() end it. Failures of the system are
// zet_serialport_exceptions with GetLastError()'s code.
class zet_serialport_win32 {
 public:
  // Takes the bytes of one read cycle; the span is valid during the call only.
  using sink = std::function<void(std::span<const std::uint8_t>)>;

  // Closes the device when it dies, so that nothing uses it any more by then.
  class released_port {
   public:
    explicit released_port(platform::serial::HANDLE port) : port_(port) {}
    released_port(const released_port&) = delete;
    released_port& operator=(const released_port&) = delete;
    ~released_port();

   private:
    platform::serial::HANDLE port_;
  };

  // Creates the events.
  zet_serialport_win32();
  zet_serialport_win32(const zet_serialport_win32&) = delete;
  zet_serialport_win32& operator=(const zet_serialport_win32&) = delete;

  // Closes the events. The port must be closed.
  ~zet_serialport_win32();

  // The open device or INVALID_HANDLE_VALUE. Any thread.
  platform::serial::HANDLE port() const { return port_; }
  bool is_open() const;

  // Opens the device for overlapped reads. A name that begins with "COM" is
  // looked up in the device namespace. Throws ERR_SERIALPORT_OPEN.
  void open(const std::string& port_name);

  // Clears what an earlier abort_receive() left behind. A failure is a broken
  // contract.
  void reset_events();

  // Changes what `settings` sets; the line keeps everything else. Throws
  // ERR_QUERY_SETTINGS or ERR_ASSIGN_SETTINGS.
  void apply(const zet_serialport_settings& settings);

  // Drops both driver queues and pending operations.
  void purge();

  // Hands what `port` receives to `received` until an error or abort_receive()
  // ends it: never returns, throws ERR_GENERIC or ERR_OPERATION_CANCELLED.
  // `port` must stay open until then.
  [[noreturn]] void receive(platform::serial::HANDLE port, const sink& received);

  // Ends receive(), at once if it waits and otherwise before its next read. With
  // `take_queued` it first takes what the driver has received, without waiting. Any
  // thread.
  void abort_receive(bool take_queued = false);

  // Makes the port count as closed and gives the device away.
  released_port release();

 private:
  std::atomic<platform::serial::HANDLE> port_;
  platform::serial::HANDLE rx_worker_pipe_;
  platform::serial::HANDLE abort_write_;
  std::atomic<bool> abort_requested_ = false;
  std::atomic<bool> takes_queued_ = false;  // set before abort_requested_
};

}  // namespace zet_serialport_lib
