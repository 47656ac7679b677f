// ip_packets.h - IP packets with TCP payloads, for tests only.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace veltra::host {

inline std::vector<std::uint8_t> with_header(std::size_t header,
                                             const std::vector<std::uint8_t>& rest) {
  std::vector<std::uint8_t> bytes(header + rest.size());
  std::copy(rest.begin(), rest.end(), bytes.begin() + static_cast<std::ptrdiff_t>(header));
  return bytes;
}

// IPv4 with `options` words of options, in front of a segment.
inline std::vector<std::uint8_t> ipv4(const std::vector<std::uint8_t>& segment,
                                      std::uint8_t options = 0) {
  std::vector<std::uint8_t> packet = with_header(20 + 4 * std::size_t{options}, segment);
  packet[0] = static_cast<std::uint8_t>(0x45 + options);
  packet[9] = 6;
  return packet;
}

inline std::vector<std::uint8_t> ipv6(const std::vector<std::uint8_t>& segment) {
  std::vector<std::uint8_t> packet = with_header(40, segment);
  packet[0] = 0x60;
  packet[6] = 6;
  return packet;
}

inline std::vector<std::uint8_t> tcp(const std::vector<std::uint8_t>& payload,
                                     std::uint8_t options = 0) {
  std::vector<std::uint8_t> segment = with_header(20 + 4 * std::size_t{options}, payload);
  segment[12] = static_cast<std::uint8_t>((5 + options) << 4);
  return segment;
}

// The beginnings of TLS records.
inline const std::vector<std::uint8_t> server_hello = {22, 3, 3, 0, 80, 2, 0, 0, 76};
inline const std::vector<std::uint8_t> client_hello = {22, 3, 1, 0, 80, 1, 0, 0, 76};

}  // namespace veltra::host
