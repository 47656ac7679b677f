// plugin_parameters.h - what a run asks of the plug-in.
#pragma once

#include <string>

#include "host/run/input.h"
#include "host/run/run_options.h"

namespace veltra::host {

// The plug-in's init parameters, a JSON text. Somebody who reads an output meanwhile waits
// for what comes. Throws user_error (bad_input) for a name that is not UTF-8.
std::string plugin_parameters(const input& input, const run_options& options,
                              bool is_read_meanwhile);

}  // namespace veltra::host
