// zet_serialport_settings.h - the line settings of a serial port, how they are
// read from the init parameters, and their text for the log.
//
// All functions may run on any thread; none keeps a reference to its arguments.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "implementation/json.h"

namespace zet_serialport_lib {

// The numbers are those of the operating system's device control block.
enum class parity : std::uint8_t { none = 0, odd = 1, even = 2 };
enum class stop_bits : std::uint8_t { one = 0, one_and_a_half = 1, two = 2 };

// `software` is XON/XOFF both ways, `hardware` is RTS/CTS.
enum class flow_control : std::uint8_t { none = 0, software = 1, hardware = 2 };

// A field that is not set leaves the port's current value untouched when the
// record is applied.
struct zet_serialport_settings {
  std::optional<std::uint32_t> baud_rate;  // bits per second
  std::optional<zet_serialport_lib::parity> parity;
  std::optional<zet_serialport_lib::stop_bits> stop_bits;
  std::optional<zet_serialport_lib::flow_control> flow_control;
  std::optional<std::uint8_t> character_size;  // data bits per character

  bool operator==(const zet_serialport_settings& other) const = default;
};

// Turns a JSON string into the text that it means, e.g. by replacing the
// name of an environment variable with its value. Throws the JSON library's
// type error for what is not a string.
using string_expansion = std::function<std::string(const kovax::json&)>;

// Reads the member "serialport" of the init parameters into `path` and
// `settings`. Where the member or one of its keys is absent, or what should be
// an object is not one, the values passed in stay as they are: nothing is
// defaulted here.
//
// "path", "parity" and "flow_control" go through `expand`. "baud_rate" and
// "data_bits" accept booleans and any number; the fraction is cut off and the
// low 32 (8) bits are kept. "stop_bits" accepts numbers only: 1, 1.5, and two
// stop bits for every other number.
//
// Throws kovax::json::type_error for a value of the wrong type and
// std::runtime_error for an unknown name. What was read before the failing key
// has been stored by then.
void parse_serial_port_parameters(const kovax::json& parameters, std::string& path,
                                  zet_serialport_settings& settings,
                                  const string_expansion& expand);

// The settings on one line with a trailing space, e.g. "baud_rate: 1000000;
// character_size: 8; parity: none; stopbits: 1; flow_control: none ". A field
// that is not set reads "Not set". An enumeration value without a name is a
// broken contract.
std::string to_string(const zet_serialport_settings& settings);

}  // namespace zet_serialport_lib
