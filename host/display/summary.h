// summary.h - the lines at the end of a run.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/source/run_statistics.h"

namespace veltra::host {

struct summary_facts {
  std::string output;                           // where the capture is, as the user knows it
  std::uint64_t packets = 0;                    // in the capture
  bool has_keys = false;                        // in the capture, not as packets
  std::optional<std::string> stream_uuid = {};  // that the trace names; empty: it names none
  std::chrono::duration<double> elapsed{};
  bool interrupted = false;
  std::string remarks = {};  // on the output; empty: no line for them
};

// Some lines of text, each ending in LF: the packets of the capture, key material that is
// in it otherwise, packets of the trace per layer, bytes, dropped traces, remarks on the output if
// any, database, time and speed.
std::string format_summary(const run_statistics& statistics, const summary_facts& facts);

// A byte count with its unit, powers of 1000: "999 B", "1.5 kB", "12.3 MB".
std::string format_bytes(double bytes);

}  // namespace veltra::host
