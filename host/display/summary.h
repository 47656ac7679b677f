// summary.h - the lines at the end of a run.
#pragma once

#include <chrono>
#include <string>

#include "host/source/run_statistics.h"

namespace veltra::host {

struct summary_facts {
  std::string output;  // where the capture is, as the user knows it
  std::chrono::duration<double> elapsed{};
  bool interrupted = false;
  std::string remarks = {};  // on the output; empty: no line for them
};

// Some lines of text, each ending in LF: packets per layer, bytes, dropped
// traces, remarks on the output if any, database, time and speed.
std::string format_summary(const run_statistics& statistics, const summary_facts& facts);

// A byte count with its unit, powers of 1000: "999 B", "1.5 kB", "12.3 MB".
std::string format_bytes(double bytes);

}  // namespace veltra::host
