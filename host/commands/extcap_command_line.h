// extcap_command_line.h - the calls by which Wireshark knows `veltra` as a source of captures.
#pragma once

#include <string>
#include <vector>

#include "host/exit_code.h"

namespace veltra::host {

// Whether this is such a call: by its options, or by the name of the link that
// `veltra wireshark install` makes. `arguments` begin with the program's name.
bool is_extcap_call(const std::vector<std::string>& arguments);

// Answers Wireshark's question on stdout, or captures. Throws user_error for all that is
// wrong, which Wireshark shows.
exit_code run_extcap_call(const std::vector<std::string>& arguments);

}  // namespace veltra::host
