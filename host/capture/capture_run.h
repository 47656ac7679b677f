// capture_run.h - one run of the plug-in from its parameters to the summary.
#pragma once

#include <functional>
#include <string>

#include "host/capture/packet.h"
#include "host/capture/run_options.h"
#include "host/exit_code.h"
#include "implementation/json.h"

namespace veltra::host {

struct capture_request {
  kovax::json parameters;  // the input's init parameters; the options' are added
  std::string input;       // the input as the user knows it
  run_options options;     // with an output file
  // True for an input that has no end of its own: Ctrl-C is how such a run ends,
  // and what was captured before a failure is kept.
  bool live = false;
  std::function<void(const packet&)> observe;  // sees every packet; may be empty
};

// Runs the plug-in, writes the capture under its final name and prints the
// summary to stderr. Ctrl-C ends the run and leaves a whole file. Returns ok, or
// interrupted for an input that was not read to its end. Throws user_error; then
// there is no output file, but for a live run that failed after its first packet.
exit_code run_capture(capture_request request);

}  // namespace veltra::host
