// trace_builder.h - a session's messages as the traces of the virtual modem.
#pragma once

#include <string>
#include <string_view>

#include "host/simulate/peer_buffer_table.h"
#include "host/simulate/session_file.h"

namespace veltra::host {

// Returns the trace whose decoding gives back the message's layer and payload,
// byte for byte. A layer that the table does not know yet is added to it.
// `session_name` only serves sentences. Throws user_error (bad_input) naming the
// message's line when its layer or its payload cannot be carried. Any thread.
std::string build_trace(const session_message& message, peer_buffer_table& table,
                        std::string_view session_name);

// Returns the trace by which the firmware names the database that describes it:
// the text "UID %s", a NUL, the UUID, a NUL, and two more bytes that a reader
// waits for. It decodes to no packet.
std::string build_database_uid_trace(std::string_view uuid);

}  // namespace veltra::host
