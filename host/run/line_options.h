// line_options.h - the options of `veltra capture` that name a port and tune it.
#pragma once

#include <cstdint>
#include <string>

#include "implementation/json.h"

namespace CLI {
class App;
}

namespace veltra::host {

struct line_options {
  std::string port;
  std::uint32_t baud_rate = 1'000'000;
  unsigned data_bits = 8;
  std::string stop_bits = "1";
  std::string parity = "none";
  std::string flow_control = "none";
};

// Adds the options to a subcommand; `options` must outlive the parsing, and holds
// the defaults.
void add_line_options(CLI::App& command, line_options& options);

// The plug-in's init parameter "serialport".
kovax::json serial_parameters(const line_options& options);

// The name of a capture of this port that began at `seconds_since_epoch` (UTC), such
// as capture-ttyUSB0-20240131T120000Z.pcapng. Captures of one second share it: see
// name_without_file().
std::string default_capture_name(const line_options& options, std::int64_t seconds_since_epoch,
                                 const std::string& format);

// `name`, or the first of NAME-2.EXTENSION, NAME-3.EXTENSION and so on under which
// there is nothing. UTF-8; looks into the file system.
std::string name_without_file(const std::string& name);

}  // namespace veltra::host
