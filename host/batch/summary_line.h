// summary_line.h - a run as one line for programs: a JSON object (RFC 8259).
#pragma once

#include <string>

#include "host/exit_code.h"
#include "host/run/run_report.h"

namespace veltra::host {

// How a run ended.
struct run_ending {
  exit_code code = exit_code::ok;
  std::string reason;  // one sentence; empty if all went well
};

// Of the run that read `input`; docs/scripting.md has the members. Reads a capture that is a
// file for its digest. Ends in LF.
std::string format_summary_line(const std::string& input, const run_ending& ending,
                                const run_report& report);

}  // namespace veltra::host
