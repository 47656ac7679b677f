// packets.h - packets for tests.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/output/packet_selection.h"
#include "host/source/packet.h"

namespace veltra::host {

// The views are those of the arguments.
inline packet packet_of(std::string_view layer, std::string_view payload,
                        std::string_view metadata = "{}", std::uint64_t time = 0) {
  return {.sequence = 1,
          .time = time,
          .layer = layer,
          .category = layer == raw_layer ? "binary" : "network",
          .metadata = metadata,
          .payload = {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()}};
}

// Everything.
inline packet_selection with_raw_packets() {
  packet_selection packets;
  packets.add(packet_kind::raw);
  return packets;
}

inline packet raw_packet(std::string_view bytes) {
  return packet_of(raw_layer, bytes);
}

}  // namespace veltra::host
