// The examples and limits that docs/frame-format.md prints are the decoder's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "decoder/configuration.h"
#include "decoder/frame.h"
#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

std::string read_text(const char* path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error(std::string("cannot read ") + path);
  }
  return {std::istreambuf_iterator<char>(in), {}};
}

std::string document() {
  return read_text(FRAME_FORMAT_DOCUMENT);
}

// The n-th fenced block (0 is the first) below a heading.
std::string block_below(const std::string& heading, int n) {
  const std::string fence = "\n```";
  const std::string text = document();
  std::size_t end = text.find("\n## " + heading + "\n");
  std::size_t begin = end;
  for (; n >= 0 && end != std::string::npos; --n) {
    begin = text.find('\n', text.find(fence, end + 1) + 1);
    end = text.find(fence, begin);
  }
  if (end == std::string::npos) {
    throw std::runtime_error("no such block below " + heading);
  }
  return text.substr(begin + 1, end - begin);
}

const frame_fields example = {.sequence = 82,
                              .payload = from_hex("2A 10 01 31 32 00 7E 7D 4F 4B"),
                              .master_id = 3,
                              .timestamp = 1500000000};

TEST(frame_format_document, the_example_is_what_the_encoder_writes) {
  EXPECT_EQ(from_hex(block_below("Worked example", 1)), encode(example));
  EXPECT_EQ(from_hex(block_below("Worked example", 0)) + from_hex("7E DA 45 AF"),
            encode_unstuffed(example));
}

TEST(frame_format_document, the_example_is_decoded) {
  EXPECT_EQ(decode(from_hex(block_below("Worked example", 1))),
            std::vector<trace>{expected(example)});
}

TEST(frame_format_document, the_encoder_it_prints_is_the_one_the_tests_use) {
  EXPECT_EQ(block_below("An encoder in C", 0), read_text(EXAMPLE_ENCODER));
}

TEST(frame_format_document, the_configuration_it_prints_is_accepted) {
  const auto parsed = parse_configuration(block_below("Configuration", 0));
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->masters, (std::vector<std::uint32_t>{3, 19, 35}));
  EXPECT_TRUE(parsed->loss_trace);
}

TEST(frame_format_document, the_limits_it_names_are_the_decoders) {
  const std::string text = document();
  EXPECT_THAT(text, testing::HasSubstr("The smallest frame has " + std::to_string(min_frame_size) +
                                       " bytes"));
  EXPECT_THAT(text, testing::HasSubstr("the largest " + std::to_string(max_frame_size)));
  EXPECT_THAT(text,
              testing::HasSubstr("- Payload: " + std::to_string(max_payload_size) + " bytes"));
}

}  // namespace
}  // namespace open_decoder::test
