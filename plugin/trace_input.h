// trace_input.h - what an instance reads: a trace file or a serial port.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "implementation/zet_serialport/zet_serialport.h"
#include "plugin/source_settings.h"
#include "plugin/trace_file.h"

namespace veltra {

// One thread, except for stop() and the two questions below it, which any may call.
class trace_input {
 public:
  // Keeps `settings`, which must outlive this object.
  explicit trace_input(const source_settings& settings);

  // Whether the settings name a trace file; otherwise the input is the serial port.
  bool is_file() const { return !port_; }

  // Opens the trace file, before anything is read from it. Throws as trace_file::open does.
  void open_file() { file_.open(settings_.trace_file, settings_.file_stream); }
  std::optional<std::uint64_t> file_size() const { return file_.size(); }

  // Begins a run: forgets earlier stops and opens the port, unless it is open.
  // Logs "open port". Throws as zet_serialport::open does.
  void begin_run(const host_log& log);

  // Replaces `chunk` by the next bytes: of a file as many as a chunk has, fewer at its
  // end; of a port everything received, at least a chunk, and it waits for that. A stop
  // ends the wait and leaves `chunk` empty. Returns true once a file has met its end.
  // Throws std::runtime_error and what the port throws when reading fails.
  bool read(std::string& chunk);

  // Replaces `chunk` by bytes that the port received before it was closed or failed, at
  // most max_bytes_per_take. Returns false when none are left. A file receives nothing.
  bool take_received(std::string& chunk);
  static constexpr std::size_t max_bytes_per_take = 64 * 1024;

  // Bytes that take_received() has left.
  std::size_t received_bytes() const { return port_ ? port_->bytes_available() : 0; }

  // Waits until the port is closed and nothing is received any more. For after a stop.
  void close_port();

  // Asks the run to end: wakes read() and closes the port.
  void stop();
  bool stop_requested() const { return stops_.load() > 0; }
  bool stop_repeated() const { return stops_.load() > 1; }

 private:
  void read_port(std::string& chunk);

  const source_settings& settings_;
  trace_file file_;
  std::optional<zet_serialport_lib::zet_serialport> port_;
  std::atomic<std::uint32_t> stops_{0};  // since the run began
};

}  // namespace veltra
