// pcapng_blocks.h - the blocks of a pcapng file.
//
// The format is the IETF draft draft-ietf-opsawg-pcapng. Every function appends
// one whole block, little-endian on every machine, to `to`; lengths count bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/output/dissector_names.h"

namespace veltra::host::pcapng {

// Link types, from the registry of tcpdump.org.
inline constexpr std::uint16_t link_type_raw_ip = 101;
inline constexpr std::uint16_t link_type_exported_pdu = 252;

// Block types.
inline constexpr std::uint32_t section_header_type = 0x0A0D0D0A;
inline constexpr std::uint32_t interface_description_type = 1;
inline constexpr std::uint32_t interface_statistics_type = 5;
inline constexpr std::uint32_t enhanced_packet_type = 6;
inline constexpr std::uint32_t decryption_secrets_type = 10;

// Starts the file. `hardware` is what produced the data, `application` what wrote it.
void append_section_header(std::string& to, std::string_view hardware, std::string_view application,
                           std::span<const std::string> comments = {});

// The comments of the section header with which `file` begins, of a file as this program
// writes them; empty for any other.
std::vector<std::string> section_comments(std::string_view file);

// Describes the next interface, counted from 0. Its timestamps are in nanoseconds, to
// which readers add `time_offset` seconds, and packets are not limited in length.
void append_interface(std::string& to, std::uint16_t link_type, std::string_view name,
                      std::string_view description, std::int64_t time_offset = 0,
                      std::string_view comment = {});

// One packet: the bytes of `header` followed by those of `payload`.
struct enhanced_packet {
  std::uint32_t interface = 0;
  std::uint64_t time = 0;  // nanoseconds
  std::string_view header;
  std::span<const std::uint8_t> payload;  // may be only the first bytes of the message
  std::uint64_t full_payload_size = 0;    // bytes of the whole message
  direction way = direction::unknown;
  std::string_view comment;  // none if empty
};
void append_packet(std::string& to, const enhanced_packet& packet);

// Closes the books of one interface: packets received and, if that is known, packets lost
// before they reached the file.
void append_statistics(std::string& to, std::uint32_t interface, std::uint64_t time,
                       std::uint64_t received, std::optional<std::uint64_t> dropped);

// TLS secrets in the key log format: lines that end in LF.
void append_secrets(std::string& to, std::string_view key_log);

}  // namespace veltra::host::pcapng
