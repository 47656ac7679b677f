// machine_check.h - whether a capture would work on this machine.
#pragma once

#include <string>
#include <vector>

#include "host/database/database_options.h"
#include "platform/serial_devices.h"

namespace veltra::host {

enum class check_state {
  ok,
  missing,  // something that a capture does not need
  failed    // a capture would not work
};

struct check_result {
  std::string subject;
  check_state state = check_state::ok;
  std::string found;
  std::string advice = {};  // what to do; empty if nothing
};

// Each looks at one part of the machine; none throws for what it finds, and none opens a
// port or changes anything.

// The plug-in `named`, or the one that belongs to this program, and its decoder.
std::vector<check_result> check_plugin(const std::string& named);

// All ports or, if it is not empty, only `port`. It fails if a capture has none to open.
std::vector<check_result> check_ports(const std::string& port,
                                      const std::vector<platform::serial_device>& devices,
                                      const platform::device_roots& roots);

// Programs of Wireshark, and what is installed for it.
std::vector<check_result> check_wireshark();

// The cache and the locations of its catalogue, as far as the options name them.
std::vector<check_result> check_databases(const database_options& options);

// One line a result, and one with the advice below it. Every line ends in LF.
std::string format_checks(const std::vector<check_result>& results);

// A JSON object: "works", and "checks" with "subject", "state" ("ok", "missing", "failed"),
// "found" and "advice".
std::string format_checks_json(const std::vector<check_result>& results);

bool would_capture(const std::vector<check_result>& results);

}  // namespace veltra::host
