// virtual_modem.h - a session turned into what a modem would have sent, and the
// trace database of that modem's firmware.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/simulate/database_document.h"
#include "host/simulate/session_file.h"
#include "host/simulate/trace_player.h"

namespace veltra::host {

// Owns all that it needs; the session may go. Play `traces` with a trace_player.
struct virtual_modem {
  database_document database;
  trace_sequence traces;     // a database UID trace, then one for each message
  std::size_t messages = 0;  // in one play
};

// Builds the modem that plays `recorded`. `uuid`, if given, must be a UUID and
// becomes the database's; otherwise the database gets one of its own. Throws
// user_error (bad_input) that names the line of a message that cannot be carried.
virtual_modem make_virtual_modem(const session& recorded, const std::optional<std::string>& uuid);

}  // namespace veltra::host
