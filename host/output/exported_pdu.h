// exported_pdu.h - the header in front of a protocol message that has no frame.
#pragma once

#include <string>
#include <string_view>

#include "host/output/dissector_names.h"

namespace veltra::host {

// A dissector takes a packet's direction from tag 35 if there is one, otherwise from the
// packet's flags.
enum class direction_tag {
  if_known,
  always  // an unknown direction is -1: the flags change nothing that is shown
};

// Builds the header of a packet under link type 252 (LINKTYPE_WIRESHARK_UPPER_PDU):
// a list of big-endian u16 tag, u16 length and value padded with NULs to a
// multiple of 4, where the length counts the padding, ended by tag 0. The
// message follows it directly.
//
// `dissector_name` is the dissector to call (tag 12), `way` becomes tag 35
// as `tag` says, `protocol_text`, unless empty, is what the protocol column
// shows (tag 33). Texts beyond 255 bytes are cut.
std::string exported_pdu_header(std::string_view dissector_name, direction way,
                                std::string_view protocol_text = {},
                                direction_tag tag = direction_tag::if_known);

}  // namespace veltra::host
