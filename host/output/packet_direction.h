// packet_direction.h - who sent a message.
#pragma once

#include "host/output/dissector_names.h"
#include "host/source/packet.h"

namespace veltra::host {

// The direction of `packet`, whose layer belongs to `kind` and fixes `of_layer` (unknown if it
// does not): that of its type for a NAS message, sent for an AT text that begins like a command,
// received for any other, unknown for a report of losses. That of an AT text is a guess: a
// modem's echo looks like a command. Any thread.
direction packet_direction(packet_kind kind, direction of_layer, const packet& packet);

}  // namespace veltra::host
