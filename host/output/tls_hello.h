// tls_hello.h - the beginning of a TLS handshake among IP packets.
#pragma once

#include <cstdint>
#include <span>

namespace veltra::host {

// True if the payload of a TCP segment (RFC 9293) in the IP packet (RFC 791, RFC 8200
// without extension headers) begins with a ServerHello (RFC 5246, 6.2.1 and 7.4.1.3).
// A hello elsewhere in a segment is not found. The packet may be cut or anything else.
bool begins_with_server_hello(std::span<const std::uint8_t> packet);

}  // namespace veltra::host
