#include "host/output/pcapng_blocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/hex.h"

namespace veltra::host::pcapng {
namespace {

std::span<const std::uint8_t> as_bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Blocks as hexadecimal text, one 32-bit word a blank.
std::string words(std::string_view block) {
  std::string text;
  for (std::size_t at = 0; at < block.size(); at += 4) {
    if (at != 0) text += ' ';
    append_hex(text, as_bytes(block.substr(at, 4)));
  }
  return text;
}

std::uint32_t word_at(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<std::uint8_t>(bytes[at + i]);
  return value;
}

TEST(pcapng_blocks, a_section_header_names_hardware_and_application) {
  std::string block;
  append_section_header(block, "modem", "abcd");
  EXPECT_EQ(words(block),
            "0a0d0d0a 34000000 4d3c2b1a 01000000 ffffffff ffffffff "
            "02000500 6d6f6465 6d000000 "
            "04000400 61626364 "
            "00000000 34000000");
}

TEST(pcapng_blocks, an_interface_has_a_link_type_no_length_limit_and_nanoseconds) {
  std::string block;
  append_interface(block, link_type_exported_pdu, "rrc", "LTE RRC");
  EXPECT_EQ(words(block),
            "01000000 34000000 fc000000 00000000 "
            "02000300 72726300 "
            "03000700 4c544520 52524300 "
            "09000100 09000000 "
            "00000000 34000000");
}

TEST(pcapng_blocks, a_packet_without_options_has_no_end_of_options) {
  const std::string payload = "\x45\x01";
  std::string block;
  append_packet(block, {.interface = 3,
                        .time = 0x0102030405060708,
                        .header = {},
                        .payload = as_bytes(payload),
                        .full_payload_size = 2,
                        .comment = {}});
  EXPECT_EQ(words(block),
            "06000000 24000000 03000000 04030201 08070605 02000000 02000000 45010000 24000000");
}

TEST(pcapng_blocks, header_and_payload_follow_each_other_without_padding_between) {
  const std::string payload = "cde";
  std::string block;
  append_packet(
      block, {.header = "ab", .payload = as_bytes(payload), .full_payload_size = 3, .comment = {}});
  EXPECT_EQ(words(block.substr(20)), "05000000 05000000 61626364 65000000 28000000");
}

TEST(pcapng_blocks, a_cut_payload_keeps_its_full_length) {
  const std::string payload = "abcd";
  std::string block;
  append_packet(
      block,
      {.header = "12", .payload = as_bytes(payload), .full_payload_size = 1000, .comment = {}});
  EXPECT_EQ(word_at(block, 20), 6U);
  EXPECT_EQ(word_at(block, 24), 1002U);
}

TEST(pcapng_blocks, an_empty_payload_is_a_packet_too) {
  std::string block;
  append_packet(block, {.header = {}, .payload = {}, .full_payload_size = 0, .comment = {}});
  EXPECT_EQ(words(block),
            "06000000 20000000 00000000 00000000 00000000 00000000 00000000 20000000");
}

TEST(pcapng_blocks, comment_and_direction_are_options) {
  std::string block;
  append_packet(block, {.header = {},
                        .payload = {},
                        .full_payload_size = 0,
                        .way = direction::received,
                        .comment = "hello"});
  EXPECT_EQ(words(block.substr(28)),
            "01000500 68656c6c 6f000000 02000400 01000000 00000000 38000000");
  block.clear();
  append_packet(
      block,
      {.header = {}, .payload = {}, .full_payload_size = 0, .way = direction::sent, .comment = {}});
  EXPECT_EQ(words(block.substr(28)), "02000400 02000000 00000000 2c000000");
}

TEST(pcapng_blocks, every_payload_size_is_padded_to_words) {
  for (std::size_t size = 0; size < 9; ++size) {
    const std::string payload(size, 'x');
    std::string block;
    append_packet(
        block,
        {.header = {}, .payload = as_bytes(payload), .full_payload_size = size, .comment = "c"});
    ASSERT_EQ(block.size() % 4, 0U) << size;
    EXPECT_EQ(word_at(block, 4), block.size()) << size;
    EXPECT_EQ(word_at(block, block.size() - 4), block.size()) << size;
    EXPECT_EQ(block.substr(28, size), payload);
    EXPECT_EQ(block.substr(28 + size, (4 - size % 4) % 4), std::string((4 - size % 4) % 4, '\0'));
  }
}

TEST(pcapng_blocks, an_option_is_cut_at_its_16_bit_length) {
  std::string block;
  append_packet(
      block,
      {.header = {}, .payload = {}, .full_payload_size = 0, .comment = std::string(70000, 'c')});
  EXPECT_EQ(word_at(block, 28), 0xffff0001);
  EXPECT_EQ(word_at(block, 4), block.size());
  EXPECT_EQ(block.size(), 28U + 4 + 0x10000 + 4 + 4);
}

TEST(pcapng_blocks, statistics_count_received_and_dropped) {
  std::string block;
  append_statistics(block, 1, 0x200000003, 7, 0x100000000);
  EXPECT_EQ(words(block),
            "05000000 34000000 01000000 02000000 03000000 "
            "04000800 07000000 00000000 "
            "05000800 00000000 01000000 "
            "00000000 34000000");
}

TEST(pcapng_blocks, secrets_are_a_tls_key_log_whose_length_is_not_padded) {
  std::string block;
  append_secrets(block, "abcde");
  EXPECT_EQ(words(block), "0a000000 1c000000 4b534c54 05000000 61626364 65000000 1c000000");
}

TEST(pcapng_blocks, blocks_are_appended) {
  std::string blocks;
  append_secrets(blocks, "x");
  const std::size_t first = blocks.size();
  append_packet(blocks, {.header = {}, .payload = {}, .full_payload_size = 0, .comment = {}});
  EXPECT_EQ(word_at(blocks, 4), first);
  EXPECT_EQ(word_at(blocks, first + 4), blocks.size() - first);
}

}  // namespace
}  // namespace veltra::host::pcapng
