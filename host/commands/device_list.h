// device_list.h - the table that `veltra devices` prints.
#pragma once

#include <string>
#include <vector>

#include "platform/serial_devices.h"

namespace veltra::host {

// One line for each port under a line of headings: its name, its state, and what the
// system knows of it. Empty for no ports. Looks for the holders under `roots`.
std::string format_devices(const std::vector<platform::serial_device>& devices,
                           const platform::device_roots& roots);

}  // namespace veltra::host
