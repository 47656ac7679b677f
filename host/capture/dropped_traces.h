// dropped_traces.h - the modem's own report of traces that it had to drop.
#pragma once

#include <charconv>
#include <cstdint>
#include <string_view>

#include "host/capture/packet.h"

namespace veltra::host {

// The count in a dropped-traces warning, 0 for every other packet.
inline std::uint64_t dropped_traces(const packet& packet) {
  constexpr std::string_view label = "Dropped traces count: ";
  const std::string_view text(reinterpret_cast<const char*>(packet.payload.data()),
                              packet.payload.size());
  if (packet.layer != "at" || !text.starts_with(label)) return 0;
  std::uint64_t count = 0;
  std::from_chars(text.data() + label.size(), text.data() + text.size(), count);
  return count;
}

}  // namespace veltra::host
