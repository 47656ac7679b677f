// serial_devices.h - the serial ports of this machine, and who has them open.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// What the system knows of a port; empty where it knows nothing. Texts are UTF-8 as
// the device gives them, without control characters.
struct serial_device {
  std::filesystem::path path;  // to open, e.g. /dev/ttyUSB0 or COM3
  std::string driver;
  std::string manufacturer;
  std::string product;
  std::string serial_number;
  std::string vendor_id;   // of USB, 4 hexadecimal digits
  std::string product_id;  // the same
};

// A process that has a device open.
struct device_holder {
  unsigned long process = 0;
  std::string name;

  bool operator==(const device_holder&) const = default;
};

struct device_holders {
  std::vector<device_holder> seen;  // in order of the process number
  // False when there were processes that this user may not look into.
  bool complete = true;
  // False where the system does not report holders.
  bool known = true;
};

// Where the system keeps what the functions below read; replaced in tests. Not used
// on Windows, which keeps it in the registry and the device tree.
struct device_roots {
  std::filesystem::path devices = "/dev";
  std::filesystem::path classes = "/sys/class/tty";
  std::filesystem::path processes = "/proc";
};

// The ports that have hardware behind them, ordered by name with numbers counted
// (ttyUSB2 before ttyUSB10). Nothing is opened: no line is disturbed. A machine
// without ports, or without the directories, has none.
std::vector<serial_device> list_serial_devices(const device_roots& roots = {});

// A name of `device` that stays when the system numbers its ports in another order: the link
// that names the hardware, or else the socket that it is plugged into (by-id and by-path of
// udev below /dev/serial). `device` itself if there is none, or if it is not there. On Windows
// a port keeps its name.
std::filesystem::path stable_device_name(const std::filesystem::path& device,
                                         const device_roots& roots = {});

// Whether there is such a port now; it is not opened.
bool device_exists(const std::filesystem::path& device);

// Who has `device` (or what a symbolic link of that name leads to) open, without
// opening it. Windows does not say.
device_holders find_device_holders(const std::filesystem::path& device,
                                   const device_roots& roots = {});

// Whether this user may open `device`, as far as its permissions go. On Windows
// ports are open to every user.
bool may_open_device(const std::filesystem::path& device);

// Why the system did not open a port, from its own description of the error.
enum class port_refusal { missing, busy, denied, not_serial, other };
port_refusal refusal_of(std::string_view description);

}  // namespace platform
