#include "implementation/zet_serialport/zet_serialport_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "implementation/json_values.h"

namespace zet_serialport_lib {

namespace {

template <typename Value>
using name_table = std::array<std::pair<std::string_view, Value>, 3>;

constexpr name_table<parity> parity_names = {
    {{"none", parity::none}, {"odd", parity::odd}, {"even", parity::even}}};

constexpr name_table<stop_bits> stop_bits_names = {
    {{"1", stop_bits::one}, {"1.5", stop_bits::one_and_a_half}, {"2", stop_bits::two}}};

constexpr name_table<flow_control> flow_control_names = {
    {{"none", flow_control::none}, {"sw", flow_control::software}, {"hw", flow_control::hardware}}};

template <typename Value>
std::string_view name_of(Value value, const name_table<Value>& container) {
  const auto found_it = std::find_if(container.cbegin(), container.cend(),
                                     [value](const auto& entry) { return entry.second == value; });
  KOVAX_CONTRACT(found_it != container.cend());
  return found_it->first;
}

template <typename Value>
Value value_of(std::string_view name, const name_table<Value>& container, const char* refusal) {
  const auto found_it = std::find_if(container.cbegin(), container.cend(),
                                     [name](const auto& entry) { return entry.first == name; });
  if (found_it == container.cend()) throw std::runtime_error(refusal);
  return found_it->second;
}

template <typename Value>
std::string_view name_or_not_set(const std::optional<Value>& value,
                                 const name_table<Value>& container) {
  return value ? name_of(*value, container) : "Not set";
}

template <typename Number>
std::string number_or_not_set(const std::optional<Number>& value) {
  return value ? fmt::format("{:d}", *value) : "Not set";
}

stop_bits stop_bits_from(double number) {
  if (number == 1.0) return stop_bits::one;
  if (number == 1.5) return stop_bits::one_and_a_half;
  return stop_bits::two;
}

const kovax::json* find_member(const kovax::json& object, const char* key) {
  if (!object.is_object()) return nullptr;
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

void parse_settings(const kovax::json& object, zet_serialport_settings& settings,
                    const string_expansion& expand) {
  if (const auto* value = find_member(object, "baud_rate")) {
    settings.baud_rate = kovax::to_u32(*value);
  }
  if (const auto* value = find_member(object, "data_bits")) {
    settings.character_size = static_cast<std::uint8_t>(kovax::to_u32(*value));
  }
  if (const auto* value = find_member(object, "stop_bits")) {
    settings.stop_bits = stop_bits_from(value->get<double>());
  }
  if (const auto* value = find_member(object, "parity")) {
    settings.parity = value_of(expand(*value), parity_names,
                               "parity cannot be converted allowed values are: none, odd, even");
  }
  if (const auto* value = find_member(object, "flow_control")) {
    // The message says "parity" here too; hosts match on it.
    settings.flow_control = value_of(expand(*value), flow_control_names,
                                     "parity cannot be converted allowed values are: none, sw, hw");
  }
}

}  // namespace

void parse_serial_port_parameters(const kovax::json& parameters, std::string& path,
                                  zet_serialport_settings& settings,
                                  const string_expansion& expand) {
  const auto* serialport = find_member(parameters, "serialport");
  if (serialport == nullptr) return;
  if (const auto* value = find_member(*serialport, "path")) path = expand(*value);
  if (const auto* value = find_member(*serialport, "settings")) {
    parse_settings(*value, settings, expand);
  }
}

std::string to_string(const zet_serialport_settings& settings) {
  return fmt::format(
      "baud_rate: {}; character_size: {}; parity: {}; stopbits: {}; flow_control: {} ",
      number_or_not_set(settings.baud_rate), number_or_not_set(settings.character_size),
      name_or_not_set(settings.parity, parity_names),
      name_or_not_set(settings.stop_bits, stop_bits_names),
      name_or_not_set(settings.flow_control, flow_control_names));
}

}  // namespace zet_serialport_lib
