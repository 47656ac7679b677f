// serial_device_tools.h - what the sources of serial_devices.h share; for them alone.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "platform/serial_devices.h"

namespace platform {

// Orders by name with numbers counted.
void sort_by_name(std::vector<serial_device>& devices);

// An error code of the system category and what it means for a port.
struct known_refusal {
  int error;
  port_refusal refusal;
};

// The refusal whose description, in whatever language the system has, ends
// `description`; `other` if there is none. The first of several.
port_refusal find_refusal(std::string_view description, std::span<const known_refusal> known);

}  // namespace platform
