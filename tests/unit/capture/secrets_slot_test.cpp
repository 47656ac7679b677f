#include "host/capture/secrets_slot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "host/capture/pcapng_blocks.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/capture/capture_reader.h"
#include "tests/unit/capture/file_content.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;

// Writes "before", the slot if wanted, and "behind" around a key log, and reads
// the blocks back.
std::vector<capture_block> blocks_with(std::string_view key_log, bool reserve = true) {
  test_support::temp_directory directory;
  const auto path = directory.path() / "out";
  output_file file(path, output_file::access::random);
  std::string block;
  pcapng::append_section_header(block, "", "");
  file.write(block);
  secrets_slot slot;
  if (reserve) slot.reserve(file);
  EXPECT_EQ(slot.reserved(), reserve);
  block.clear();
  pcapng::append_interface(block, pcapng::link_type_raw_ip, "ip", "");
  file.write(block);
  slot.fill(file, key_log);
  file.commit();
  return read_blocks(content(path));
}

std::vector<std::uint32_t> types(const std::vector<capture_block>& blocks) {
  std::vector<std::uint32_t> all;
  for (const capture_block& block : blocks) all.push_back(block.type);
  return all;
}

TEST(secrets_slot, an_empty_slot_is_a_block_that_every_reader_skips) {
  EXPECT_THAT(types(blocks_with("")),
              ElementsAre(pcapng::section_header_type, pcapng::skipped_block_type,
                          pcapng::interface_description_type));
}

TEST(secrets_slot, a_key_log_stands_before_what_follows_the_slot) {
  const auto blocks = blocks_with("line one\nline two\n");
  EXPECT_THAT(types(blocks),
              ElementsAre(pcapng::section_header_type, pcapng::decryption_secrets_type,
                          pcapng::interface_description_type));
  EXPECT_TRUE(blocks[1].key_log().starts_with("line one\nline two\n"));
}

TEST(secrets_slot, the_room_that_is_left_becomes_comment_lines) {
  for (std::size_t left = 0; left < 200; ++left) {
    std::string key_log(secrets_slot::capacity - left, 'k');
    key_log.back() = '\n';
    const auto blocks = blocks_with(key_log);
    ASSERT_EQ(blocks.size(), 3U);
    const std::string text = blocks[1].key_log();
    ASSERT_EQ(text.size(), secrets_slot::capacity);
    ASSERT_EQ(text.substr(0, key_log.size()), key_log);
    std::istringstream filling(text.substr(key_log.size()));
    for (std::string line; std::getline(filling, line);) {
      ASSERT_EQ(line, std::string(line.size(), '#'));
      ASSERT_LT(line.size(), 64U);
    }
    ASSERT_EQ(text.back(), '\n');
  }
}

TEST(secrets_slot, a_longer_key_log_moves_what_follows) {
  const std::string key_log = std::string(secrets_slot::capacity, 'k') + "\n";
  const auto blocks = blocks_with(key_log);
  EXPECT_THAT(types(blocks),
              ElementsAre(pcapng::section_header_type, pcapng::decryption_secrets_type,
                          pcapng::skipped_block_type, pcapng::interface_description_type));
  EXPECT_EQ(blocks[1].key_log(), key_log);
}

TEST(secrets_slot, without_room_the_key_log_goes_to_the_end) {
  const auto blocks = blocks_with("line\n", false);
  EXPECT_THAT(types(blocks),
              ElementsAre(pcapng::section_header_type, pcapng::interface_description_type,
                          pcapng::decryption_secrets_type));
  EXPECT_EQ(blocks[2].key_log(), "line\n");
}

TEST(secrets_slot, without_room_and_secrets_nothing_is_added) {
  EXPECT_THAT(types(blocks_with("", false)),
              ElementsAre(pcapng::section_header_type, pcapng::interface_description_type));
}

}  // namespace
}  // namespace veltra::host
