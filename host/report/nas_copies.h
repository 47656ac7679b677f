// nas_copies.h - NAS messages that a modem traces twice.
#pragma once

#include <vector>

#include "host/report/message.h"

namespace veltra::report {

// Modems trace a NAS message on a line of its own, in plain text, and again inside the RRC
// message that carries it, where it may be ciphered. Marks each such RRC message with the line's
// frame, so that a message counts once, and gives the line the RRC message's direction. Where
// there is no RRC message nearby, the direction follows from the message's type, if that has one.
void match_nas_copies(std::vector<message>& messages);

}  // namespace veltra::report
