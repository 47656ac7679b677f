#include "host/output/nas_direction.h"

#include <array>
#include <cstddef>

namespace veltra::host {

namespace {

using enum direction;

// Protocol discriminators, 3GPP TS 24.007, 11.2.3.1.1.
constexpr std::uint8_t session_management = 2;
constexpr std::uint8_t mobility_management = 7;

// Security header types, 3GPP TS 24.301, 9.3.1.
constexpr std::uint8_t plain = 0;
constexpr std::uint8_t integrity_protected = 1;
constexpr std::uint8_t integrity_protected_new_context = 3;
constexpr std::uint8_t partially_ciphered = 5;      // the type and the header are not
constexpr std::uint8_t first_service_request = 12;  // up to 15: the message itself

// Security header type, message authentication code (4), sequence number.
constexpr std::size_t security_header_size = 6;

struct message_type {
  std::uint8_t value;
  direction sender;
};

using senders = std::array<direction, 256>;  // by message type

constexpr senders senders_of(std::span<const message_type> types) {
  senders found{};
  found.fill(unknown);
  for (const message_type& type : types) found[type.value] = type.sender;
  return found;
}

// 3GPP TS 24.301, tables 9.8.1 and 9.8.2, without the types that both sides send.
constexpr auto mobility_senders = senders_of(std::to_array<message_type>({
    {0x41, sent},      // attach request
    {0x42, received},  // attach accept
    {0x43, sent},      // attach complete
    {0x44, received},  // attach reject
    {0x48, sent},      // tracking area update request
    {0x49, received},  // tracking area update accept
    {0x4a, sent},      // tracking area update complete
    {0x4b, received},  // tracking area update reject
    {0x4c, sent},      // extended service request
    {0x4d, sent},      // control plane service request
    {0x4e, received},  // service reject
    {0x4f, received},  // service accept
    {0x50, received},  // GUTI reallocation command
    {0x51, sent},      // GUTI reallocation complete
    {0x52, received},  // authentication request
    {0x53, sent},      // authentication response
    {0x54, received},  // authentication reject
    {0x55, received},  // identity request
    {0x56, sent},      // identity response
    {0x5c, sent},      // authentication failure
    {0x5d, received},  // security mode command
    {0x5e, sent},      // security mode complete
    {0x5f, sent},      // security mode reject
    {0x61, received},  // EMM information
    {0x62, received},  // downlink NAS transport
    {0x63, sent},      // uplink NAS transport
    {0x64, received},  // CS service notification
    {0x68, received},  // downlink generic NAS transport
    {0x69, sent},      // uplink generic NAS transport
}));
constexpr auto session_senders = senders_of(std::to_array<message_type>({
    {0xc1, received},  // activate default EPS bearer context request
    {0xc2, sent},      // ... accept
    {0xc3, sent},      // ... reject
    {0xc5, received},  // activate dedicated EPS bearer context request
    {0xc6, sent},      // ... accept
    {0xc7, sent},      // ... reject
    {0xc9, received},  // modify EPS bearer context request
    {0xca, sent},      // ... accept
    {0xcb, sent},      // ... reject
    {0xcd, received},  // deactivate EPS bearer context request
    {0xce, sent},      // ... accept
    {0xd0, sent},      // PDN connectivity request
    {0xd1, received},  // PDN connectivity reject
    {0xd2, sent},      // PDN disconnect request
    {0xd3, received},  // PDN disconnect reject
    {0xd4, sent},      // bearer resource allocation request
    {0xd5, received},  // bearer resource allocation reject
    {0xd6, sent},      // bearer resource modification request
    {0xd7, received},  // bearer resource modification reject
    {0xd9, received},  // ESM information request
    {0xda, sent},      // ESM information response
    {0xdb, received},  // notification
    {0xe9, sent},      // remote UE report
    {0xea, received},  // remote UE report response
}));

direction sender_of(const senders& by_type, std::span<const std::uint8_t> message,
                    std::size_t type_at) {
  return type_at < message.size() ? by_type[message[type_at]] : unknown;
}

// A message that begins with its own protocol discriminator.
direction plain_direction(std::span<const std::uint8_t> message) {
  if (message.empty()) return unknown;
  switch (message[0] & 0x0f) {
    case mobility_management:
      return message[0] >> 4 == plain ? sender_of(mobility_senders, message, 1) : unknown;
    case session_management:  // with the bearer's identity in front, then the transaction's
      return sender_of(session_senders, message, 2);
    default:
      return unknown;
  }
}

}  // namespace

direction nas_direction(std::span<const std::uint8_t> message) {
  if (message.empty() || (message[0] & 0x0f) != mobility_management) {
    return plain_direction(message);
  }
  const auto security = static_cast<std::uint8_t>(message[0] >> 4);
  if (security >= first_service_request) return sent;
  switch (security) {
    case integrity_protected:
    case integrity_protected_new_context:
    case partially_ciphered:
      if (message.size() < security_header_size) return unknown;
      return plain_direction(message.subspan(security_header_size));
    default:
      return plain_direction(message);
  }
}

}  // namespace veltra::host
