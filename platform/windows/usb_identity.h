// usb_identity.h - what the name of a USB device in the device tree says.
#pragma once

#include <string>
#include <string_view>

namespace platform {

struct usb_identity {
  std::string vendor_id;   // 4 hexadecimal digits in lower case
  std::string product_id;  // the same
  std::string serial_number;

  bool operator==(const usb_identity&) const = default;
};

// Reads a device instance id, UTF-8, such as "USB\VID_0403&PID_6001\A50285BI" (the
// format is published as "Standard USB Identifiers") or, of adapters whose ports
// have a bus of their own, "FTDIBUS\VID_0403+PID_6001+A50285BI\0000". Everything is
// empty for a device that is not on USB; the serial number is empty where the id has
// one that the system has made up.
usb_identity read_usb_identity(std::string_view instance_id);

}  // namespace platform
