// zet_serialport.h - a serial port that receives.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <thread>

#include "implementation/zet_serialport/receive_buffer.h"
#include "implementation/zet_serialport/zet_serialport_error.h"
#include "implementation/zet_serialport/zet_serialport_settings.h"

namespace zet_serialport_lib {

class zet_serialport_win32;

// One serial port. While it is open, a thread of its own (the rx worker) moves
// whatever the driver has received into a buffer, which read() empties. Nothing
// is ever written to the port.
//
// Threads: every operation but construction and destruction may run on any
// thread at any time; several threads may read. open() and close() exclude each
// other, so that a close() that meets an open() takes place after it.
//
// Bytes that were received and not read survive close() and open(). The buffer
// has no limit: without reads it holds everything received.
class zet_serialport {
 public:
  // Names the device, e.g. "COM3" or "/dev/ttyUSB0", without opening it.
  explicit zet_serialport(std::string port_name);
  zet_serialport(const zet_serialport&) = delete;
  zet_serialport& operator=(const zet_serialport&) = delete;

  // Closes the port. No other thread may be inside an operation any more.
  ~zet_serialport();

  const std::string& port_name() const { return port_name_; }

  // From the next open() on the rx worker rests for so long after it has received a little:
  // what comes meanwhile costs one wake-up. What comes after a pause is received at once.
  // 0, as at first: never.
  void rest_between_reads(std::chrono::milliseconds time) { rest_ = time; }

  // Opens the port, applies what `settings` sets, drops what the driver holds
  // (with `purge`) and starts the rx worker. Does nothing on an open port. The
  // last flag has no meaning.
  //
  // Throws zet_serialport_exception: ERR_SERIALPORT_OPEN, ERR_QUERY_SETTINGS or
  // ERR_ASSIGN_SETTINGS. After the latter two the port stays open without a
  // worker until close(). Throws std::system_error if no thread can be created.
  void open(const std::optional<zet_serialport_settings>& settings, bool purge, bool flag = false);

  // Appends exactly `count` bytes to `output`; waits until there are as many.
  // Throws zet_serialport_exception and leaves `output` and the buffer as they
  // were:
  //   ERR_SERIALPORT_OPEN "port closed" when the port is not open, is closed
  //     meanwhile, or the rx worker ended by an error. code() is the error that
  //     ended the last worker; std::errc::operation_canceled while close() ends one.
  //   ERR_OPERATION_CANCELLED "operation cancelled" after cancel().
  //   ERR_TIMEOUT "read timeout" when `timeout` passed (steady clock).
  void read(std::string& output, std::size_t count,
            std::optional<std::chrono::milliseconds> timeout = std::nullopt);

  // Moves up to `max_count` of the bytes that were received to the end of `output`,
  // without waiting, from a closed port as well. Returns how many.
  std::size_t take_received(std::string& output, std::size_t max_count);

  // Ends every read, now and until the port is opened again.
  void cancel();

  // Ends the rx worker, wakes every read and releases the device. Does nothing
  // on a port that is not open. When it returns, the device is free.
  //
  // With `take_queued` what the driver has received by then is received, too, and
  // otherwise dropped.
  void close(bool take_queued = false);

  // True from the moment the device was opened until close() begins, even if
  // the rx worker has ended by an error.
  bool is_open() const;

  // Bytes that a read could take without waiting.
  std::size_t bytes_available() const;

 private:
  struct start_signal;

  void start_rx_worker();
  void run_rx_worker(void* port, start_signal& signal);
  void received(std::span<const std::uint8_t> bytes);
  void throw_if_unreadable() const;

  const std::string port_name_;
  std::chrono::milliseconds rest_{0};
  std::thread rx_worker_;
  mutable std::mutex rx_mutex_;  // guards the next two, wanted_, is_closing_ and the waits
  receive_buffer buffer_;
  std::error_code last_error_{0, std::system_category()};
  std::condition_variable rx_condition_;
  // The fewest bytes that a waiting read can use: below it no read is woken.
  std::size_t wanted_ = std::numeric_limits<std::size_t>::max();
  bool is_closing_ = false;
  std::condition_variable closing_condition_;
  std::atomic<bool> cancelled_ = false;
  std::atomic<bool> closed_ = false;
  std::mutex lifecycle_mutex_;  // held by open() and close(); taken before rx_mutex_
  const std::unique_ptr<zet_serialport_win32> transport_;
};

}  // namespace zet_serialport_lib
