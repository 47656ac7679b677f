// command.h - how a subcommand of `veltra` joins the program.
#pragma once

#include <functional>

#include "host/exit_code.h"

namespace CLI {
class App;
}

namespace veltra::host {

// The work of the subcommand that the command line chose. Throws user_error.
using command = std::function<exit_code()>;

// Each of these adds one subcommand to `app`. When the command line is parsed
// and names that subcommand, `chosen` is set to its work; nothing runs before
// main() calls it. `chosen` must outlive the parsing.
void add_capture_command(CLI::App& app, command& chosen);
void add_db_command(CLI::App& app, command& chosen);
void add_decode_command(CLI::App& app, command& chosen);
void add_devices_command(CLI::App& app, command& chosen);
void add_simulate_command(CLI::App& app, command& chosen);

}  // namespace veltra::host
