// source_settings.h - what an instance is built from.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "implementation/zet_serialport/zet_serialport_settings.h"
#include "plugin/database/host_log.h"

namespace veltra {

// What is read at once becomes one packet, whose size has 32 bits.
inline constexpr std::uint64_t max_bytes_per_read = UINT32_MAX;

struct source_settings {
  host_log log;
  std::string trace_file;   // UTF-8; empty: none
  std::string serial_port;  // empty: none; not read if there is a trace file
  zet_serialport_lib::zet_serialport_settings serial_settings{
      .baud_rate = 1000000,
      .parity = zet_serialport_lib::parity::none,
      .stop_bits = zet_serialport_lib::stop_bits::one,
      .flow_control = zet_serialport_lib::flow_control::none,
      .character_size = 8};
  std::uint64_t chunk_size = 1024;                // bytes per read, at least 1
  std::string database_file;                      // UTF-8; empty: none named
  std::vector<std::string> database_directories;  // where a database is looked for by its UUID

  bool file_stream = false;  // the file may be a pipe, and its size is of no interest
  bool recording = false;    // runs are those of class recording
  std::chrono::milliseconds recording_rest{3};  // between reads of a line that is busy
  bool log_statistics = false;                  // at the end of a run

  // Bytes per read of a file. A serial port gives more when it has more.
  std::uint64_t file_chunk_size() const { return std::min(chunk_size, max_bytes_per_read); }
};

}  // namespace veltra
