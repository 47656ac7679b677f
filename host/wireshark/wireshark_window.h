// wireshark_window.h - a capture that goes into a window of Wireshark as it comes.
#pragma once

#include <string>

#include "host/output/pcapng_sink.h"
#include "host/wireshark/start_wireshark.h"

namespace veltra::host {

// Starts Wireshark when the run begins, so that no window opens for one that is refused, and
// takes standard output for it. To close the window ends the output, see reader_role.
class wireshark_window : public pcapng_sink {
 public:
  explicit wireshark_window(settings how) : pcapng_sink("-", how) {}

  std::string name() const override { return "Wireshark"; }

 private:
  void before_opening() override { show_stdout_in_wireshark(); }
};

}  // namespace veltra::host
