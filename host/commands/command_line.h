// command_line.h - the options of `veltra`. The only place that knows the parser.
#pragma once

#include <string>
#include <vector>

#include "host/exit_code.h"

namespace veltra::host {

// Parses the command line (UTF-8, the program's name first) and does what it asks for.
// What is wrong with the command line itself is reported on stderr; returns usage then.
// Throws user_error as the commands do.
exit_code run_command_line(const std::vector<std::string>& arguments);

}  // namespace veltra::host
