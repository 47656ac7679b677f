#include "host/output/tls_hello.h"

#include <cstddef>

namespace veltra::host {

namespace {

using bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t protocol_tcp = 6;
constexpr std::uint8_t record_handshake = 22;
constexpr std::uint8_t record_major_version = 3;  // of all versions of TLS
constexpr std::uint8_t server_hello = 2;

// Without the first `count` bytes; empty if there are not so many.
bytes behind(bytes packet, std::size_t count) {
  return count <= packet.size() ? packet.subspan(count) : bytes();
}

// The TCP segment of an IP packet; empty if there is none.
bytes segment_of(bytes packet) {
  constexpr std::size_t ipv4_header = 20;
  constexpr std::size_t ipv6_header = 40;
  if (packet.size() >= ipv4_header && packet[0] >> 4 == 4) {
    const bool later_fragment = (packet[6] & 0x1f) != 0 || packet[7] != 0;
    if (packet[9] != protocol_tcp || later_fragment) return {};
    return behind(packet, std::size_t{packet[0] & 0x0fU} * 4);
  }
  if (packet.size() >= ipv6_header && packet[0] >> 4 == 6) {
    return packet[6] == protocol_tcp ? packet.subspan(ipv6_header) : bytes();
  }
  return {};
}

bytes payload_of(bytes segment) {
  constexpr std::size_t header = 20;
  if (segment.size() < header) return {};
  return behind(segment, std::size_t{segment[12]} >> 4 << 2);
}

}  // namespace

bool begins_with_server_hello(std::span<const std::uint8_t> packet) {
  // Record: type, version, length (2). Handshake message: type, ...
  const bytes record = payload_of(segment_of(packet));
  return record.size() > 5 && record[0] == record_handshake && record[1] == record_major_version &&
         record[5] == server_hello;
}

}  // namespace veltra::host
