// capture_ports.h - a command for several ports as a capture of each.
#pragma once

#include <string>
#include <vector>

#include "host/commands/commands.h"

namespace veltra::host {

// The captures that the options ask for, one for each port, with the port in the names of
// its files if there may be several: -o lab.pcapng becomes lab-ttyUSB0.pcapng. `present`: the
// ports of this machine. Throws user_error for no port, two with the same names, and what
// cannot be done for several.
std::vector<capture_options> split_by_port(const capture_options& options,
                                           const std::vector<std::string>& present);

}  // namespace veltra::host
