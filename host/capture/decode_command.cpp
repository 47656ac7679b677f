#include <CLI/CLI.hpp>
#include "host/command.h"
namespace veltra::host { void add_decode_command(CLI::App&, command&) {} }
