#include "platform/serial_device_tools.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>
#include <utility>

#include "platform/file.h"
#include "platform/message.h"

namespace platform {

namespace {

// A name in parts that order by their numbers.
std::pair<std::string, unsigned long> ordering(const serial_device& device) {
  const std::string name = path_to_utf8(device.path.filename());
  const std::size_t digits = name.find_last_not_of("0123456789") + 1;
  unsigned long number = 0;
  std::from_chars(name.data() + digits, name.data() + name.size(), number);
  return {name.substr(0, digits), number};
}

}  // namespace

void sort_by_name(std::vector<serial_device>& devices) {
  std::sort(devices.begin(), devices.end(), [](const serial_device& a, const serial_device& b) {
    return ordering(a) < ordering(b);
  });
}

port_refusal find_refusal(std::string_view description, std::span<const known_refusal> known) {
  for (const auto& [error, refusal] : known) {
    if (description.ends_with(utf8_message(std::system_category().message(error)))) return refusal;
  }
  return port_refusal::other;
}

}  // namespace platform
