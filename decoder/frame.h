// frame.h - one frame of the trace stream: its fields, limits and check.
//
// docs/frame-format.md describes the format; framing and frame check sequence
// are those of RFC 1662.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace open_decoder {

// Delimits frames; never occurs inside one (RFC 1662, 3.1).
inline constexpr std::uint8_t frame_flag = 0x7E;
// Announces an octet that was changed by `escape_mask` (RFC 1662, 4.2).
inline constexpr std::uint8_t frame_escape = 0x7D;
inline constexpr std::uint8_t escape_mask = 0x20;

// The only version of the frame layout.
inline constexpr std::uint8_t frame_version = 1;

// Sizes of an unstuffed frame's parts, in bytes.
inline constexpr std::size_t frame_header_size = 17;
inline constexpr std::size_t frame_check_size = 4;
inline constexpr std::size_t min_frame_size = frame_header_size + frame_check_size;

// Limit for hostile input: the largest unstuffed frame, header and check
// included. It bounds the memory a decoder keeps between two parses.
inline constexpr std::size_t max_frame_size = 131072;
inline constexpr std::size_t max_payload_size = max_frame_size - min_frame_size;

// The fields of an intact frame. `payload` points into the bytes that were parsed.
struct frame {
  std::uint32_t master_id = 0;
  std::uint32_t sequence = 0;
  std::uint64_t timestamp = 0;  // nanoseconds
  std::span<const std::uint8_t> payload;
};

// Checks the unstuffed bytes of one frame and reads its fields. Returns nothing
// if the frame is damaged: too short or too long, a wrong frame check sequence,
// or a version other than `frame_version`. Any thread; never throws.
std::optional<frame> parse_frame(std::span<const std::uint8_t> bytes) noexcept;

}  // namespace open_decoder
