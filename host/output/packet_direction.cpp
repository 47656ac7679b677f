#include "host/output/packet_direction.h"

#include <string_view>

#include "host/output/nas_direction.h"

namespace veltra::host {

namespace {

bool is_at_command(std::string_view text) {
  constexpr auto upper = [](char c) { return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c; };
  return text.size() >= 2 && upper(text[0]) == 'A' && upper(text[1]) == 'T';
}

}  // namespace

direction packet_direction(packet_kind kind, direction of_layer, const packet& packet) {
  switch (kind) {
    case packet_kind::nas:
      return nas_direction(packet.payload);
    case packet_kind::at:
      if (dropped_traces(packet)) return direction::unknown;
      return is_at_command(payload_text(packet)) ? direction::sent : direction::received;
    default:
      return of_layer;
  }
}

}  // namespace veltra::host
