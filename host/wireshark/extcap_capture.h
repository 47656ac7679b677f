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

// Opens Wireshark's pipes and keeps them open until the process ends; to be called before
// anything can fail. Waits for the capture's reader.
//
// Wireshark reports a device that does not exist if nobody opens the capture's pipe, and
// ends the program, perhaps before that has said what is wrong, when the last writer closes
// it. Its window stands still until somebody reads from the toolbar. `control_in` may be
// empty. Does nothing for names that are not pipes.
void open_pipes(const std::string& fifo, const std::string& control_in);

// Runs until Wireshark asks for the end (SIGTERM), closes the pipe, or the port is lost. A
// raw trace has every byte that came until then. Writes nothing to stderr. Throws
// user_error for what failed.
exit_code capture_for_wireshark(const extcap_capture_options& options);

}  // namespace veltra::host
