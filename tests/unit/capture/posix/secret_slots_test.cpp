// Secrets in a capture that the disk has no room for.
#include "host/user_error.h"
#include "tests/support/file_size_limit.h"
#include "tests/unit/capture/secret_slots_fixture.h"

namespace veltra::host {
namespace {

class secret_slots_disk_test : public secret_slots_test {
 protected:
  // What is written of a file of which only `size` bytes reach the disk.
  std::vector<capture_block> written_up_to(std::size_t size) {
    file_.flush();
    packet();
    const test_support::file_size_limit full(size);
    EXPECT_THROW(file_.flush(), user_error);
    EXPECT_TRUE(file_.keep_whole_records());
    slots_.finish_without_room();
    file_.commit();
    return read_blocks(content(path_));
  }
};

TEST_F(secret_slots_disk_test, on_a_full_disk_the_slot_is_filled_all_the_same) {
  packet();
  secrets(1);
  const auto blocks = written_up_to(file_.size());
  EXPECT_EQ(order(blocks), "HKI");
  EXPECT_THAT(lines(blocks[1]), testing::StartsWith("CLIENT_RANDOM 01000000"));
}

TEST_F(secret_slots_disk_test, a_slot_that_did_not_reach_the_disk_is_not_filled) {
  secrets(1);
  EXPECT_EQ(order(written_up_to(file_.size())), "H") << "the packet had the first slot";
}

}  // namespace
}  // namespace veltra::host
