#include "platform/serial_devices.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/serial_device_tools.h"

namespace platform {

namespace {

namespace fs = std::filesystem;

// A text of sysfs is at most a page.
constexpr std::size_t max_text_size = 4096;
// From a port up to its USB device there are only a few steps.
constexpr int max_parents = 16;

// The first line of a small file; empty if there is none.
std::string read_line(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text(max_text_size, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  text.resize(std::min(text.find('\n'), text.size()));
  std::erase_if(text, [](unsigned char character) { return character < ' ' || character == 127; });
  while (text.ends_with(' ')) text.pop_back();
  return text;
}

bool has_directory(const fs::path& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

std::vector<fs::path> entries_of(const fs::path& directory) {
  std::vector<fs::path> entries;
  std::error_code error;
  fs::directory_iterator at(directory, error);
  while (!error && at != fs::directory_iterator()) {
    entries.push_back(at->path());
    at.increment(error);
  }
  return entries;
}

std::string name_of_link(const fs::path& link) {
  std::error_code ignored;
  return fs::read_symlink(link, ignored).filename().string();
}

// What the port's USB device, some directories above it, says of itself.
void add_usb_facts(fs::path directory, serial_device& device) {
  for (int i = 0; i < max_parents && directory.has_relative_path(); ++i) {
    device.vendor_id = read_line(directory / "idVendor");
    if (!device.vendor_id.empty()) {
      device.product_id = read_line(directory / "idProduct");
      device.manufacturer = read_line(directory / "manufacturer");
      device.product = read_line(directory / "product");
      device.serial_number = read_line(directory / "serial");
      return;
    }
    directory = directory.parent_path();
  }
}

// The driver of a port that hangs on another's, such as the serial core's "port",
// is that of the nearest device with hardware.
std::string driver_of(fs::path directory) {
  for (int i = 0; i < max_parents && directory.has_relative_path(); ++i) {
    const std::string driver = name_of_link(directory / "driver");
    const std::string bus = name_of_link(directory / "subsystem");
    if (!driver.empty() && bus != "serial-base") return driver;
    directory = directory.parent_path();
  }
  return {};
}

std::optional<serial_device> describe(const fs::path& entry, const device_roots& roots) {
  // Consoles and pseudo-terminals have no device behind them, and of the ports
  // that a driver keeps in reserve the type is 0 (PORT_UNKNOWN).
  if (!has_directory(entry / "device") || read_line(entry / "type") == "0") return std::nullopt;
  serial_device device;
  device.path = roots.devices / entry.filename();
  std::error_code error;
  const fs::path hardware = fs::canonical(entry / "device", error);
  if (error) return device;
  device.driver = driver_of(hardware);
  add_usb_facts(hardware, device);
  return device;
}

std::optional<unsigned long> process_number(const fs::path& entry) {
  const std::string name = entry.filename().string();
  unsigned long number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc() || end != name.data() + name.size()) return std::nullopt;
  return number;
}

// std::filesystem::equivalent() need not know devices.
bool is_same_file(const fs::path& a, const fs::path& b) {
  struct stat of_a = {}, of_b = {};
  return stat(a.c_str(), &of_a) == 0 && stat(b.c_str(), &of_b) == 0 && of_a.st_dev == of_b.st_dev &&
         of_a.st_ino == of_b.st_ino;
}

// Whether the process has the device open; nothing when it may not be looked into.
std::optional<bool> holds(const fs::path& process, const fs::path& device) {
  std::error_code error;
  fs::directory_iterator at(process / "fd", error);
  while (!error && at != fs::directory_iterator()) {
    std::error_code closed_meanwhile;
    // The name alone may be that of another device, in a container of its own.
    if (fs::read_symlink(at->path(), closed_meanwhile) == device &&
        is_same_file(at->path(), device)) {
      return true;
    }
    at.increment(error);
  }
  // A process that has ended meanwhile holds nothing.
  if (error == std::errc::permission_denied) return std::nullopt;
  return false;
}

}  // namespace

std::vector<serial_device> list_serial_devices(const device_roots& roots) {
  std::vector<serial_device> devices;
  for (const fs::path& entry : entries_of(roots.classes)) {
    if (auto device = describe(entry, roots)) devices.push_back(std::move(*device));
  }
  sort_by_name(devices);
  return devices;
}

fs::path stable_device_name(const fs::path& device, const device_roots& roots) {
  std::error_code error;
  const fs::path real = fs::canonical(device, error);
  if (error) return device;
  for (const char* const kind : {"by-id", "by-path"}) {
    std::vector<fs::path> links = entries_of(roots.devices / "serial" / kind);
    std::sort(links.begin(), links.end());
    for (const fs::path& link : links) {
      if (fs::canonical(link, error) == real && !error) return link;
    }
  }
  return device;
}

bool device_exists(const fs::path& device) {
  std::error_code ignored;
  return fs::exists(device, ignored);
}

device_holders find_device_holders(const std::filesystem::path& device, const device_roots& roots) {
  device_holders holders;
  std::error_code error;
  const fs::path real = fs::canonical(device, error);
  if (error) return holders;
  for (const fs::path& entry : entries_of(roots.processes)) {
    const auto process = process_number(entry);
    if (!process) continue;
    const std::optional<bool> held = holds(entry, real);
    if (!held) holders.complete = false;
    if (held.value_or(false)) holders.seen.push_back({*process, read_line(entry / "comm")});
  }
  std::sort(holders.seen.begin(), holders.seen.end(),
            [](const device_holder& a, const device_holder& b) { return a.process < b.process; });
  return holders;
}

bool may_open_device(const std::filesystem::path& device) {
  return access(device.c_str(), R_OK | W_OK) == 0;
}

port_refusal refusal_of(std::string_view description) {
  constexpr known_refusal known[] = {
      {ENOENT, port_refusal::missing},    {ENODEV, port_refusal::missing},
      {ENXIO, port_refusal::missing},     {EBUSY, port_refusal::busy},
      {EACCES, port_refusal::denied},     {EPERM, port_refusal::denied},
      {ENOTTY, port_refusal::not_serial}, {EISDIR, port_refusal::not_serial}};
  return find_refusal(description, known);
}

}  // namespace platform
