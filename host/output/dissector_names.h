// dissector_names.h - from the layer names of a trace to Wireshark's dissectors.
#pragma once

#include <string_view>

namespace veltra::host {

// The kinds of packets that a capture tells apart; each is one interface.
enum class packet_kind { ip, rrc, nas, at, other, raw };

// What the layer's name says about the way of a message: from the modem to the
// network (sent) or from the network to the modem (received).
enum class direction { unknown, received, sent };

struct dissector {
  std::string_view name;  // as registered in Wireshark; static storage
  packet_kind kind;
  direction way;
};

// Finds the dissector for `layer`. Upper and lower case, and '.', '_' and '-',
// make no difference, and a word that only says "this is a message" is passed
// over, because databases name one and the same channel DL_DCCH,
// DL_DCCH.Message or DL_DCCH_Message. Any other unknown word makes the layer
// unknown: a wrong dissection is worse than none. Returns null for an unknown
// layer. Does not allocate much; call it once for each layer, not each packet.
const dissector* find_dissector(std::string_view layer);

}  // namespace veltra::host
