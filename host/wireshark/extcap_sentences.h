// extcap_sentences.h - what Wireshark asks an extcap program, answered in its sentences.
//
// The format is that of the chapter "Adding Capture Interfaces And Log Sources Using
// extcap" of the Wireshark Developer's Guide.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/serial_devices.h"

namespace veltra::host {

// The toolbar's controls, by number.
inline constexpr unsigned log_control = 0;
inline constexpr unsigned state_control = 1;

// The interface whose port is a field of its dialog: for what the list of devices does not
// contain, such as a pseudo-terminal or a link below /dev/serial/by-id.
inline constexpr std::string_view other_port_interface = "veltra";

// The program, its toolbar, and an interface for each device and for any other port.
std::string format_interfaces(const std::vector<platform::serial_device>& devices);

// The dialog of an interface: line settings, trace database, recording.
std::string format_config(std::string_view interface);

// The one link type of the interface: captures are pcapng, which name their own.
std::string format_dlts(std::string_view interface);

// The port behind an interface; empty for other_port_interface. An interface of a device
// that has been unplugged meanwhile still names its port, so that the failure can.
std::string port_of_interface(std::string_view interface,
                              const std::vector<platform::serial_device>& devices);

}  // namespace veltra::host
