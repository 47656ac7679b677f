// packets.h - packets of a run, for what counts them.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/source/packet.h"

namespace live_test {

inline veltra::host::packet packet_of(std::string_view layer, std::string_view payload) {
  return {.layer = layer,
          .category = layer == veltra::host::raw_layer ? "binary" : "network",
          .metadata = "{}",
          .payload = {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()}};
}

inline veltra::host::packet raw_packet(std::string_view bytes) {
  return packet_of(veltra::host::raw_layer, bytes);
}

}  // namespace live_test
