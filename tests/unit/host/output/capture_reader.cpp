#include "tests/unit/host/output/capture_reader.h"

#include <gtest/gtest.h>

#include "host/output/pcapng_blocks.h"

namespace veltra::host {

namespace {

template <typename Integer>
Integer integer_at(std::string_view bytes, std::size_t at) {
  Integer value = 0;
  for (std::size_t i = sizeof value; i-- > 0;) {
    value = static_cast<Integer>(value << 8 | static_cast<std::uint8_t>(bytes.at(at + i)));
  }
  return value;
}

std::size_t padded(std::size_t size) {
  return (size + 3) / 4 * 4;
}

}  // namespace

std::uint16_t capture_block::u16(std::size_t at) const {
  return integer_at<std::uint16_t>(body, at);
}
std::uint32_t capture_block::u32(std::size_t at) const {
  return integer_at<std::uint32_t>(body, at);
}
std::uint64_t capture_block::u64(std::size_t at) const {
  return integer_at<std::uint64_t>(body, at);
}

std::map<std::uint16_t, std::string> capture_block::options(std::size_t at) const {
  std::map<std::uint16_t, std::string> found;
  while (at < body.size()) {
    const std::uint16_t code = u16(at);
    const std::size_t size = u16(at + 2);
    at += 4;
    if (code == 0) {
      EXPECT_EQ(at, body.size()) << "bytes behind the end of the options";
      return found;
    }
    found[code] = body.substr(at, size);
    for (std::size_t i = at + size; i < at + padded(size); ++i) EXPECT_EQ(body.at(i), 0);
    at += padded(size);
  }
  EXPECT_TRUE(found.empty()) << "options without an end";
  return found;
}

std::string capture_block::key_log() const {
  EXPECT_EQ(u32(0), 0x544c534bU);
  EXPECT_EQ(body.size(), 8 + padded(u32(4)));
  return body.substr(8, u32(4));
}

std::vector<capture_block> read_blocks(std::string_view file) {
  std::vector<capture_block> blocks;
  for (std::size_t at = 0; at < file.size();) {
    const auto length = integer_at<std::uint32_t>(file, at + 4);
    if (length < 12 || length % 4 != 0 || length > file.size() - at) {
      ADD_FAILURE() << "no block at byte " << at;
      break;
    }
    EXPECT_EQ(integer_at<std::uint32_t>(file, at + length - 4), length);
    blocks.push_back(
        {integer_at<std::uint32_t>(file, at), std::string(file.substr(at + 8, length - 12))});
    at += length;
  }
  return blocks;
}

std::vector<captured_packet> read_packets(std::string_view file) {
  std::vector<captured_packet> packets;
  std::vector<captured_packet> interfaces;
  for (const capture_block& block : read_blocks(file)) {
    if (block.type == pcapng::interface_description_type) {
      auto options = block.options(8);
      EXPECT_EQ(options[9], "\x09") << "timestamps are not in nanoseconds";
      captured_packet& added = interfaces.emplace_back();
      added.interface = options[2];
      added.link_type = block.u16(0);
      if (options.contains(14)) {
        EXPECT_EQ(options[14].size(), 8U);
        added.time_offset = static_cast<std::int64_t>(integer_at<std::uint64_t>(options[14], 0));
      }
    } else if (block.type == pcapng::enhanced_packet_type) {
      captured_packet& packet = packets.emplace_back(interfaces.at(block.u32(0)));
      packet.time = std::uint64_t{block.u32(4)} << 32 | block.u32(8);
      packet.full_size = block.u32(16);
      packet.data = block.body.substr(20, block.u32(12));
      EXPECT_EQ(packet.data.size(), block.u32(12));
      auto options = block.options(20 + padded(block.u32(12)));
      packet.comment = options[1];
      if (options.contains(2)) packet.flags = integer_at<std::uint32_t>(options[2], 0);
    }
  }
  return packets;
}

}  // namespace veltra::host
