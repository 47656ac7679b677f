// dropped_traces.h - the modem's own report of traces that it had to drop.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include "host/source/packet.h"

namespace veltra::host {

// The count in a dropped-traces warning; nothing for every other packet.
inline std::optional<std::uint64_t> dropped_traces(const packet& packet) {
  constexpr std::string_view label = "Dropped traces count: ";
  const std::string_view text(reinterpret_cast<const char*>(packet.payload.data()),
                              packet.payload.size());
  if (packet.layer != "at" || !text.starts_with(label)) return std::nullopt;
  std::uint64_t count = 0;
  const auto [end, error] =
      std::from_chars(text.data() + label.size(), text.data() + text.size(), count);
  if (error != std::errc()) return std::nullopt;
  return count;
}

}  // namespace veltra::host
