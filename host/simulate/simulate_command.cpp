#include <CLI/CLI.hpp>
#include "host/command.h"
namespace veltra::host { void add_simulate_command(CLI::App&, command&) {} }
