// capture_reader.h - the blocks of a pcapng file, for tests only.
//
// Reads what draft-ietf-opsawg-pcapng says, in little-endian order, and fails
// the test over anything that is not whole: lengths that differ, padding that is
// not zero, options that run over their block.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

struct capture_block {
  std::uint32_t type = 0;
  std::string body;  // between the two lengths

  std::uint16_t u16(std::size_t at) const;
  std::uint32_t u32(std::size_t at) const;
  std::uint64_t u64(std::size_t at) const;

  // The options that start at `at`, by their codes.
  std::map<std::uint16_t, std::string> options(std::size_t at) const;

  // The text of a decryption secrets block.
  std::string key_log() const;
};

std::vector<capture_block> read_blocks(std::string_view file);

// An enhanced packet with the parts that tests look at.
struct captured_packet {
  std::string interface;  // its name
  std::uint16_t link_type = 0;
  std::uint64_t time = 0;        // as in its block
  std::int64_t time_offset = 0;  // seconds, of its interface
  std::uint32_t full_size = 0;
  std::string data;
  std::string comment;
  std::uint32_t flags = 0;  // 0 if there are none
};

// The packets of a file in order.
std::vector<captured_packet> read_packets(std::string_view file);

}  // namespace veltra::host
