#include "host/output/secret_slots.h"

#include <fmt/format.h>

#include <algorithm>

#include "tests/unit/host/output/secret_slots_fixture.h"

namespace veltra::host {
namespace {

TEST_F(secret_slots_test, an_empty_slot_is_a_block_that_every_reader_skips) {
  packet();
  packet();
  EXPECT_EQ(order(written()), "H-II");
}

TEST_F(secret_slots_test, secrets_stand_before_the_first_ip_packet) {
  packet();
  secrets(1);
  packet();
  const auto blocks = written();
  EXPECT_EQ(order(blocks), "HKII");
  EXPECT_THAT(blocks[1].key_log(), testing::StartsWith("CLIENT_RANDOM 01000000"));
}

TEST_F(secret_slots_test, the_room_that_is_left_becomes_comment_lines) {
  packet();
  secrets(1);
  const std::string text = written()[1].key_log();
  ASSERT_EQ(text.size(), secret_slots::capacity);
  ASSERT_EQ(text.back(), '\n');
  std::istringstream filling(text.substr(text.find("\n#") + 1));
  std::size_t count = 0;
  for (std::string line; std::getline(filling, line); ++count) {
    ASSERT_EQ(line, std::string(line.size(), '#'));
    ASSERT_LT(line.size(), 64U);
  }
  EXPECT_GT(count, 200U);
}

TEST_F(secret_slots_test, without_an_ip_packet_the_secrets_are_kept_all_the_same) {
  secrets(1);
  EXPECT_EQ(order(written()), "HK");
}

TEST_F(secret_slots_test, without_secrets_nothing_is_added) {
  EXPECT_EQ(order(written()), "H");
}

TEST_F(secret_slots_test, each_session_has_its_secrets_in_front_however_many_there_are) {
  constexpr std::size_t sessions = 500;
  for (std::size_t i = 0; i < sessions; ++i) {
    packet();
    secrets(i);
  }
  const auto blocks = written();
  std::size_t packets = 0;
  std::string known;
  for (const capture_block& block : blocks) {
    if (block.type == pcapng::decryption_secrets_type) known += lines(block);
    if (block.type != pcapng::interface_description_type) continue;
    std::string random = "CLIENT_RANDOM ";
    for (std::size_t i = 0; i < 4; ++i) random += fmt::format("{:02x}", packets >> 8 * i & 0xff);
    ASSERT_NE(known.find(random), std::string::npos) << "session " << packets;
    ++packets;
  }
  EXPECT_EQ(packets, sessions);
  EXPECT_EQ(order(blocks).find('?'), std::string::npos);
  EXPECT_LT(blocks.size(), sessions + sessions / 30 + 3) << "a slot serves some 34 sessions";
}

TEST_F(secret_slots_test, sessions_that_overlap_the_next_slot_have_theirs_in_the_one_before) {
  for (std::size_t i = 0; i < 30; ++i) {
    packet();
    secrets(i);
  }
  // Half full: the next slot's place is taken. The session of the last packet
  // before it traces its secrets only now.
  EXPECT_EQ(key_log_.pending() > secret_slots::capacity / 2, true);
  packet();
  for (std::size_t i = 30; i < 40; ++i) secrets(i);
  const auto blocks = written();
  const std::string text = order(blocks);
  EXPECT_EQ(text.substr(0, 2), "HK");
  EXPECT_EQ(std::count(text.begin(), text.end(), 'K'), 2);
  EXPECT_THAT(lines(blocks[1]), testing::HasSubstr("CLIENT_RANDOM 1e000000")) << "session 30";
}

TEST_F(secret_slots_test, a_slot_that_is_exactly_full_has_no_filling) {
  packet();
  for (int i = 0; i < 3; ++i) comment(secret_slots::capacity / 4);
  ASSERT_EQ(key_log_.pending(), secret_slots::capacity / 4 * 3);
  comment(secret_slots::capacity / 4);
  const auto blocks = written();
  EXPECT_EQ(order(blocks), "HKI");
  EXPECT_EQ(blocks[1].key_log().size(), secret_slots::capacity);
  EXPECT_EQ(blocks[1].key_log().find("\n##"), std::string::npos);
}

TEST_F(secret_slots_test, what_does_not_fit_stands_behind_and_nothing_is_lost) {
  packet();
  comment(secret_slots::capacity / 4 * 3);
  comment(secret_slots::capacity / 4 + 2);
  const auto blocks = written();
  EXPECT_EQ(order(blocks), "HKIK");
  EXPECT_EQ(lines(blocks[1]).size(), secret_slots::capacity / 4 * 3);
  EXPECT_EQ(blocks[3].key_log().size(), secret_slots::capacity / 4 + 2);
}

TEST_F(secret_slots_test, a_line_longer_than_a_slot_stands_behind_in_one_piece) {
  packet();
  comment(3 * secret_slots::capacity);
  const auto blocks = written();
  EXPECT_EQ(order(blocks), "H-IK");
  EXPECT_EQ(blocks[3].key_log().size(), 3 * secret_slots::capacity);
}

}  // namespace
}  // namespace veltra::host
