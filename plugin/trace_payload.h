// trace_payload.h - the header at the start of every decoded trace's payload.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace veltra {

// A trace's payload, taken apart. Layout:
//   trace id       `trace_id_size` bytes
//   peer layer id  1 byte
//   buffer id      decimal text of up to 255 bytes and its NUL
//   body           the rest
struct trace_payload {
  std::string_view bytes;  // the whole payload
  std::uint32_t trace_id = 0;
  std::uint8_t peer_layer_id = 0;
  std::optional<std::uint32_t> buffer_id;  // none when the text does not end in the trace
  std::string_view body;                   // empty when the text does not end in the trace
};

// Takes `bytes` apart; the views point into them. Nothing when the payload is no
// longer than its trace id. `trace_id_size` is at most 4.
std::optional<trace_payload> parse_trace_payload(std::string_view bytes,
                                                 std::uint32_t trace_id_size, bool little_endian);

// Reads a number as the C library's "%u" conversion does: leading blanks and a
// sign are taken, a negative number wraps, digits beyond 64 bits saturate, and
// the low 32 bits are the result; 0 without a number.
std::uint32_t scan_unsigned(std::string_view text);

// The part of `text` before its first NUL; all of it when it has none.
std::string_view up_to_nul(std::string_view text);

// `count` bytes (at most 4) at `offset` as an unsigned little-endian number; 0
// when they do not all lie inside `bytes`.
std::uint32_t read_little_endian(std::string_view bytes, std::uint64_t offset, std::uint32_t count);

}  // namespace veltra
