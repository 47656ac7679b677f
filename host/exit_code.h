// exit_code.h - the exit codes of `veltra`, one place for all of them.
//
// They are part of the program's interface: scripts test them, and
// docs/command-line.md lists them.
#pragma once

namespace veltra::host {

enum class exit_code : int {
  ok = 0,               // done
  usage = 2,            // the command line is wrong
  bad_input = 3,        // an input is missing, unreadable or not what it should be
  nothing_decoded = 4,  // the trace was read and not one packet came out of it
  run_failed = 5,       // the run began and then failed
  output_failed = 6,    // the output could not be written
  worse = 7,            // the report is made, and something became worse than its baseline
  losses = 8,     // done, and something was lost on the way, which --fail-on-loss makes a failure
  internal = 70,  // a defect of veltra itself
  interrupted = 130,  // ended by Ctrl-C before the end of the input; the output is valid
};

}  // namespace veltra::host
