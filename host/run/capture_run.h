// capture_run.h - one run of the plug-in from its parameters to the summary.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/source/packet.h"
#include "host/run/run_options.h"
#include "host/source/run_statistics.h"
#include "host/source/source_session.h"
#include "host/exit_code.h"
#include "host/user_error.h"
#include "implementation/json.h"

namespace veltra::host {

struct capture_request {
  kovax::json parameters;  // the input's init parameters; the options' are added
  std::string input;       // the input as the user knows it
  // With an output file, but for a live run without a database: there is nothing to
  // write then, and the packets only go to `observe`.
  run_options options;
  // False for a name that follows from the input's: what is wrong with its place is
  // told after what is wrong with the input, which may be the reason.
  bool output_is_named = true;
  // True for an input that has no end of its own: Ctrl-C is how such a run ends,
  // and what was captured before a failure is kept.
  bool live = false;

  // Each may be empty, and all but hurry are called on the thread of run_capture(). The first
  // four go away before the summary is printed.
  std::function<void(const packet&)> observe = {};  // every packet, before it is written
  std::function<void()> observe_written = {};       // the same packet is written
  std::function<void(std::string_view message)> observe_log = {};  // the plug-in's messages
  // Ctrl-C came: what `observe` waits for must come to an end. On another thread.
  std::function<void()> hurry = {};
  // Shows lines to a person without tearing what else is on the terminal; stderr if empty.
  std::function<void(std::string_view lines)> tell = {};
  // A failed run in the input's own words; `kept` when there is a capture all the
  // same. Nothing: the general words.
  std::function<std::optional<user_error>(const source_failure&, bool kept)> explain_failure = {};
  // A run without content, in the input's own words.
  std::function<user_error(const run_statistics&)> explain_nothing = {};
};

// Runs the plug-in, writes the capture under its final name and prints the
// summary to stderr. Ctrl-C ends the run and leaves a whole file. Returns ok, or
// interrupted for an input that was not read to its end. Throws user_error; then
// there is no output file, but for a live run that failed after it had content. What
// has no content (see run_statistics) is no capture.
exit_code run_capture(capture_request request);

}  // namespace veltra::host
