// configuration.h - the decoder's settings, read from the JSON text that a trace
// database carries.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace open_decoder {

// The trace that reports lost frames: the trace id of the firmware's own "traces
// dropped" warning, then two little-endian 32-bit counts.
struct loss_trace {
  std::uint32_t master_id = 0;
  std::array<std::uint8_t, 4> id{};  // trace id in the trace's byte order
  std::size_t id_size = 0;           // bytes of `id` in use, 1 to 4

  [[nodiscard]] std::span<const std::uint8_t> id_bytes() const noexcept {
    return std::span(id).first(id_size);
  }
};

struct configuration {
  std::vector<std::uint32_t> masters;  // ids and aliases, ascending
  std::optional<open_decoder::loss_trace> loss_trace;

  // True if frames of this master are decoded.
  [[nodiscard]] bool accepts(std::uint32_t master_id) const noexcept;
};

// Reads the JSON text (RFC 8259) that docs/frame-format.md describes. Returns
// nothing for any other text. Throws std::bad_alloc. Any thread.
std::optional<configuration> parse_configuration(std::string_view text);

}  // namespace open_decoder
