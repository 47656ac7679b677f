// run.h - one run of the plug-in, from its init parameters to the summary.
#pragma once

#include <filesystem>

#include "host/display/display.h"
#include "host/exit_code.h"
#include "host/output/sink.h"
#include "host/run/input.h"
#include "host/run/piece_keeper.h"
#include "host/run/run_group.h"
#include "host/run/run_options.h"
#include "host/run/run_report.h"

namespace veltra::host {

// Where the packets go. Both may be null, but not both at a time.
struct run_sinks {
  // Gets every packet on the plug-in's own thread before anything else sees it, so that
  // nothing that happens to the rest costs a byte - unless it is a stream, whose reader
  // may stall.
  sink* raw_trace = nullptr;
  // Behind a queue. It becomes a capture only if a packet with content comes, see
  // run_statistics.
  sink* capture = nullptr;
  // Likewise; the run does not go on for it alone, and takes it only with the capture.
  sink* key_log = nullptr;
  // For sinks that are series of files; null: each is one file.
  piece_keeper* keeper = nullptr;
  // The raw trace's file or what its series is called, for the sidecars; empty for a stream.
  std::filesystem::path raw_file = {};
  // Filled at the run's end, however it ends; may be null.
  run_report* report = nullptr;
};

// Runs the plug-in, finishes the sinks and shows the summary as lines of the display.
//
// A run ends with its input, at a limit of its options, on Ctrl-C, and when no sink is left: one
// that fails is reported and costs the other nothing. The same holds for the decoding of a live
// input while the raw trace is kept. Returns ok, or interrupted for a file that was not read to its
// end. Throws user_error for everything that failed; of a live run what came before the failure is
// kept.
//
// On the caller's thread; while it runs, threads for the sinks, the display and Ctrl-C.
exit_code run(const input& input, const run_options& options, const run_sinks& sinks,
              display& display);

// The same beside others: Ctrl-C ends all runs of the group.
exit_code run(const input& input, const run_options& options, const run_sinks& sinks,
              display& display, run_group& group);

}  // namespace veltra::host
