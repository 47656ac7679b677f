// extcap_capture.h - a live capture that Wireshark or tshark has asked for.
#pragma once

#include <string>

#include "host/exit_code.h"
#include "host/run/run_options.h"

namespace veltra::host {

// Names are UTF-8.
struct extcap_capture_options {
  std::string fifo;           // where the capture goes
  std::string control_out;    // the toolbar's pipe; empty: none
  line_options line;          // the port is empty if none is known
  run_options run;            // its output is not used
  std::string raw_directory;  // where the raw trace is kept; empty: it is not
};

// Runs until Wireshark asks for the end (SIGTERM), closes the pipe, or the port is lost. A
// raw trace has every byte that came until then. Writes nothing to stderr. Throws
// user_error for what failed, with the pipe opened and closed: otherwise Wireshark reports
// a device that does not exist instead.
exit_code capture_for_wireshark(const extcap_capture_options& options);

// Opens a named pipe that nobody has opened yet and closes it, which is an empty capture for
// its reader. Does nothing for any other name.
void give_empty_capture(const std::string& fifo);

}  // namespace veltra::host
