#include "host/output/exported_pdu.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "base/hex.h"

namespace veltra::host {
namespace {

using namespace std::string_literals;

std::string hex(const std::string& bytes) {
  std::string text;
  append_hex(text, {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  return text;
}

TEST(exported_pdu, a_dissector_name_is_padded_and_the_length_counts_the_padding) {
  EXPECT_EQ(exported_pdu_header("at", direction::unknown),
            "\0\x0c\0\x04"s
            "at\0\0"s
            "\0\0\0\0"s);
}

TEST(exported_pdu, a_name_of_whole_words_gets_no_padding) {
  EXPECT_EQ(exported_pdu_header("data", direction::unknown),
            "\0\x0c\0\x04"s
            "data"s
            "\0\0\0\0"s);
}

TEST(exported_pdu, every_name_length_keeps_the_list_in_words) {
  for (std::size_t size = 1; size < 20; ++size) {
    const std::string header = exported_pdu_header(std::string(size, 'n'), direction::unknown);
    const std::size_t padded = (size + 3) / 4 * 4;
    ASSERT_EQ(header.size(), 4 + padded + 4) << size;
    EXPECT_EQ(static_cast<std::size_t>(header[3]), padded);
  }
}

TEST(exported_pdu, sent_is_0_and_received_1) {
  EXPECT_EQ(hex(exported_pdu_header("at", direction::sent)),
            "000c0004"
            "61740000"
            "00230004"
            "00000000"
            "00000000");
  EXPECT_EQ(hex(exported_pdu_header("at", direction::received)),
            "000c0004"
            "61740000"
            "00230004"
            "00000001"
            "00000000");
}

TEST(exported_pdu, a_protocol_text_stands_behind_the_name) {
  EXPECT_EQ(hex(exported_pdu_header("data", direction::unknown, "xyz")),
            "000c0004"
            "64617461"
            "00210004"
            "78797a00"
            "00000000");
}

TEST(exported_pdu, texts_are_cut_at_255_bytes) {
  const std::string header =
      exported_pdu_header(std::string(300, 'n'), direction::unknown, std::string(300, 'p'));
  EXPECT_EQ(header.size(), 4U + 256 + 4 + 256 + 4);
  EXPECT_EQ(hex(header.substr(0, 4)), "000c0100");
  EXPECT_EQ(header.substr(4, 256), std::string(255, 'n') + '\0');
}

}  // namespace
}  // namespace veltra::host
