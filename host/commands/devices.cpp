#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/commands/commands.h"
#include "host/console.h"
#include "host/run/port_failure.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

struct row {
  std::string port;
  std::string state;
  std::string device;
};

std::string state_of(const platform::serial_device& device, const platform::device_roots& roots) {
  const platform::device_holders holders = platform::find_device_holders(device.path, roots);
  if (!holders.seen.empty()) return "in use by " + list_holders(holders);
  if (!platform::may_open_device(device.path)) return "no permission";
  if (!holders.known) return "not known";
  return holders.complete ? "free" : "free, as far as visible";
}

std::string describe(const platform::serial_device& device) {
  std::vector<std::string> facts;
  std::string name = device.manufacturer;
  if (!name.empty() && !device.product.empty()) name += ' ';
  name += device.product;
  if (!name.empty()) facts.push_back(name);
  if (!device.vendor_id.empty()) {
    facts.push_back(fmt::format("USB {}:{}", device.vendor_id, device.product_id));
  }
  if (!device.serial_number.empty()) facts.push_back("serial number " + device.serial_number);
  if (!device.driver.empty()) facts.push_back("driver " + device.driver);
  std::string text;
  for (const std::string& fact : facts) text += (text.empty() ? "" : ", ") + fact;
  return text;
}

}  // namespace

std::string format_devices(const std::vector<platform::serial_device>& devices,
                           const platform::device_roots& roots) {
  if (devices.empty()) return {};
  std::vector<row> rows = {{"PORT", "STATE", "DEVICE"}};
  for (const platform::serial_device& device : devices) {
    rows.push_back(
        {platform::path_to_utf8(device.path), state_of(device, roots), describe(device)});
  }
  std::size_t port_width = 0;
  std::size_t state_width = 0;
  for (const row& each : rows) {
    port_width = std::max(port_width, each.port.size());
    state_width = std::max(state_width, each.state.size());
  }
  std::string text;
  for (const row& each : rows) {
    fmt::format_to(std::back_inserter(text), "{:<{}}  {:<{}}  {}", each.port, port_width,
                   each.state, state_width, each.device);
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
  }
  return text;
}

std::string format_devices_json(const std::vector<platform::serial_device>& devices,
                                const platform::device_roots& roots) {
  kovax::json list = kovax::json::array();
  for (const platform::serial_device& device : devices) {
    list.push_back({{"port", platform::path_to_utf8(device.path)},
                    {"state", state_of(device, roots)},
                    {"driver", device.driver},
                    {"manufacturer", device.manufacturer},
                    {"product", device.product},
                    {"serial_number", device.serial_number},
                    {"usb_vendor_id", device.vendor_id},
                    {"usb_product_id", device.product_id}});
  }
  return list.dump(2, ' ', false, kovax::json::error_handler_t::replace) + "\n";
}

exit_code list_devices(bool as_json) {
  if (as_json) {
    print(format_devices_json(platform::list_serial_devices(), {}));
    return exit_code::ok;
  }
  const std::string list = format_devices(platform::list_serial_devices(), {});
  if (list.empty()) {
    print_message("veltra: there is no serial port; plug in the modem or its adapter.\n");
  }
  print(list);
  return exit_code::ok;
}

}  // namespace veltra::host
