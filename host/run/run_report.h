// run_report.h - what programs want to know of a run that has ended.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/run/utc_time.h"
#include "host/source/run_statistics.h"

namespace veltra::host {

// Of a failed run, as far as it came.
struct run_report {
  run_statistics statistics;
  std::string stream_uuid;  // that the trace names; empty: it names none
  // The capture, or what it is called while it is a series; empty: none was written.
  std::string output;
  std::uint64_t packets = 0;       // in the capture
  std::uint64_t output_bytes = 0;  // before compression
  std::uint64_t missed = 0;        // packets that a reader was too slow for
  std::uint64_t gaps = 0;          // times without input
  // Of the messages, as in a pcapng capture.
  std::optional<utc_time> first_time;
  std::optional<utc_time> last_time;
  double seconds = 0;  // that the run took

  bool has_losses() const {
    return statistics.dropped_traces() != 0 || statistics.damaged_frames() != 0 || missed != 0 ||
           gaps != 0;
  }
};

}  // namespace veltra::host
