// nas_direction.h - which side sends a NAS message.
#pragma once

#include <cstdint>
#include <span>

#include "host/output/dissector_names.h"

namespace veltra::host {

// The direction of an EPS NAS message (3GPP TS 24.301) whose type only the UE sends or
// only the network. Unknown for types that both send, for ciphered messages, which do
// not show their type, and for what is not a NAS message. Any thread.
direction nas_direction(std::span<const std::uint8_t> message);

}  // namespace veltra::host
