// subcommands.h - the commands of `veltra`, each with its options.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "host/exit_code.h"

namespace veltra::host {

// The work of the command that the command line asks for.
using command = std::function<exit_code()>;

// Each adds a command to `parent`, which assigns its work to `chosen` when it is parsed;
// `chosen` must outlive `parent`.
void add_decode_command(CLI::App& parent, command& chosen);
void add_capture_command(CLI::App& parent, command& chosen);
void add_explain_command(CLI::App& parent, command& chosen);
void add_report_command(CLI::App& parent, command& chosen);
void add_recover_command(CLI::App& parent, command& chosen);
void add_devices_command(CLI::App& parent, command& chosen);
void add_doctor_command(CLI::App& parent, command& chosen);
void add_db_command(CLI::App& parent, command& chosen);
void add_simulate_command(CLI::App& parent, command& chosen);
void add_wireshark_command(CLI::App& parent, command& chosen);
void add_config_command(CLI::App& parent, command& chosen);
void add_help_command(CLI::App& parent, command& chosen);

}  // namespace veltra::host
