// Secrets in a capture that the disk has no room for.
#include <functional>

#include "host/user_error.h"
#include "tests/support/file_size_limit.h"
#include "tests/unit/host/output/secret_slots_fixture.h"

namespace veltra::host {
namespace {

class secret_slots_disk_test : public secret_slots_test {
 protected:
  // What is written of a file of which only `size` bytes reach the disk; `fails` finds
  // out.
  std::vector<capture_block> written_up_to(std::size_t size, const std::function<void()>& fails) {
    file_.flush();
    packet();
    const test_support::file_size_limit full(size);
    EXPECT_THROW(fails(), user_error);
    EXPECT_TRUE(file_.keep_whole_records());
    slots_.finish_without_room();
    file_.commit();
    return read_blocks(content(path_));
  }
  std::vector<capture_block> written_up_to(std::size_t size) {
    return written_up_to(size, [this] { slots_.finish(); });
  }
};

TEST_F(secret_slots_disk_test, on_a_full_disk_the_slot_is_filled_all_the_same) {
  packet();
  secrets(1);
  const auto blocks = written_up_to(file_.size());
  EXPECT_EQ(order(blocks), "HKI");
  EXPECT_THAT(lines(blocks[1]), testing::StartsWith("CLIENT_RANDOM 01000000"));
}

TEST_F(secret_slots_disk_test, a_slot_that_was_to_be_closed_is_filled_all_the_same) {
  packet();
  secrets(1);
  const auto blocks =
      written_up_to(file_.size(), [this] { comment(secret_slots::capacity / 8 * 7); });
  EXPECT_EQ(order(blocks), "HKI");
  EXPECT_THAT(lines(blocks[1]), testing::HasSubstr("CLIENT_RANDOM 01000000"));
}

TEST_F(secret_slots_disk_test, a_slot_that_cannot_be_overwritten_now_is_filled_later) {
  packet();
  secrets(1);
  packet();
  file_.flush();
  {
    const test_support::file_size_limit refused(50);
    EXPECT_THROW(slots_.finish(), user_error);
  }
  EXPECT_TRUE(file_.keep_whole_records());
  slots_.finish_without_room();
  file_.commit();
  const auto blocks = read_blocks(content(path_));
  EXPECT_EQ(order(blocks), "HKII");
  EXPECT_THAT(lines(blocks[1]), testing::StartsWith("CLIENT_RANDOM 01000000"));
}

TEST_F(secret_slots_disk_test, a_slot_that_did_not_reach_the_disk_is_not_filled) {
  secrets(1);
  EXPECT_EQ(order(written_up_to(file_.size())), "H") << "the packet had the first slot";
}

}  // namespace
}  // namespace veltra::host
