// trace_builder.h - payloads of decoded traces: trace id, peer layer id, buffer
// id as text with its NUL, message body.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace test_support {

struct trace_header {
  std::uint32_t id = 0;
  std::uint8_t peer_layer = 0;
  std::string buffer_id = "0";
  unsigned id_size = 4;  // bytes, up to 4
  bool big_endian = false;
};

// The low `size` bytes of `value`.
inline std::string number_bytes(std::uint32_t value, unsigned size, bool big_endian = false) {
  std::string bytes;
  for (unsigned index = 0; index < size; ++index) {
    const unsigned shift = 8 * (big_endian ? size - 1 - index : index);
    bytes += static_cast<char>((value >> shift) & 0xFF);
  }
  return bytes;
}

inline std::string build_trace(const trace_header& header, std::string_view body) {
  std::string bytes = number_bytes(header.id, header.id_size, header.big_endian);
  bytes += static_cast<char>(header.peer_layer);
  bytes += header.buffer_id;
  bytes += '\0';
  bytes += body;
  return bytes;
}

}  // namespace test_support
