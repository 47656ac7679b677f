// run_options.h - what the command line says about a run.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/database/database_options.h"
#include "host/output/packet_selection.h"
#include "host/run/capture_clock.h"
#include "host/run/rotation.h"

namespace veltra::host {

struct output_options {
  std::string file;    // "-" is standard output; may be empty while it has a default
  std::string format;  // "pcapng" or "jsonl"; empty until the name has chosen
  packet_selection packets;
  std::optional<metadata_use> metadata;  // of JSON Lines; none: each
  std::string key_log;                   // file for TLS secrets; empty: none
  bool is_synced = true;                 // down to the device before a file gets its name
  bool overwrite = false;                // replace what is under a name that was not given
};

// What it means that the reader of a capture that is a stream stops reading.
enum class reader_role {
  reads,      // a failure of the output
  may_leave,  // the end of the output, which is complete
  ends_run    // likewise, and of the run, also while a raw trace is kept
};

// How a live input is recorded.
struct recording_options {
  rotation_options rotation;
  // How often the raw trace is made safe against a loss of power; none: with each file.
  std::optional<std::chrono::duration<double>> sync_interval;
  bool reconnects = false;  // waits for an input that is not there, or not any more
  // Each connection begins a file.
  bool is_series() const { return reconnects || rotation.has_boundary(); }
  file_limits end;  // of the run
};

struct run_options {
  database_options database;
  output_options output;
  recording_options recording;
  std::uint64_t chunk_size = 0;              // bytes per read
  std::string plugin;                        // empty: the one that belongs to this program
  bool verbose = false;                      // show the plug-in's messages
  bool quiet = false;                        // no summary
  bool only_complete = false;                // no capture of a file that was not read to its end
  std::optional<time_base> times;            // none: what suits the input
  std::vector<clock_anchor> recorded_times;  // of a trace with a sidecar; instead of `times`
  reader_role reader = reader_role::reads;
};

// How a serial port is set up.
struct line_options {
  std::string port;
  std::uint32_t baud_rate = 1'000'000;
  unsigned data_bits = 8;
  std::string stop_bits = "1";
  std::string parity = "none";
  std::string flow_control = "none";
  bool follows_device = false;  // the same hardware, though its port's number changes
};

}  // namespace veltra::host
