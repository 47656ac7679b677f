#include "platform/windows/usb_identity.h"

#include <algorithm>
#include <cctype>

namespace platform {

namespace {

constexpr std::string_view separators = "\\&+";

// The four digits behind `label`, in lower case; empty if there are none.
std::string digits_after(std::string_view id, std::string_view label) {
  constexpr std::size_t count = 4;
  const std::size_t at = id.find(label);
  if (at == std::string_view::npos) return {};
  std::string digits(id.substr(at + label.size(), count));
  const bool whole = digits.size() == count &&
                     std::all_of(digits.begin(), digits.end(),
                                 [](unsigned char each) { return std::isxdigit(each) != 0; });
  if (!whole) return {};
  std::transform(digits.begin(), digits.end(), digits.begin(),
                 [](unsigned char each) { return static_cast<char>(std::tolower(each)); });
  return digits;
}

// The part behind the product, up to the next separator.
std::string part_after_product(std::string_view id, char separator) {
  const std::size_t product = id.find("PID_");
  const std::size_t begin = id.find_first_of(separators, product);
  if (begin == std::string_view::npos || id[begin] != separator) return {};
  const std::string_view rest = id.substr(begin + 1);
  return std::string(rest.substr(0, rest.find_first_of("\\+")));
}

}  // namespace

usb_identity read_usb_identity(std::string_view instance_id) {
  usb_identity identity{.vendor_id = digits_after(instance_id, "VID_"),
                        .product_id = digits_after(instance_id, "PID_"),
                        .serial_number = {}};
  if (identity.vendor_id.empty() || identity.product_id.empty()) return {};
  for (const char separator : {'+', '\\'}) {
    if (!identity.serial_number.empty()) break;
    identity.serial_number = part_after_product(instance_id, separator);
  }
  // The system's own names are made of parts with this sign, which no device's
  // serial number may hold.
  if (identity.serial_number.find('&') != std::string::npos) identity.serial_number.clear();
  return identity;
}

}  // namespace platform
