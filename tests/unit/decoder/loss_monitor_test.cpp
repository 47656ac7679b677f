#include "decoder/loss_monitor.h"

#include <gtest/gtest.h>

namespace open_decoder {
namespace {

// The losses counted at an intact frame that follows another one.
std::uint64_t missing_between(std::uint32_t earlier, std::uint32_t later) {
  loss_monitor monitor;
  monitor.intact_frame(earlier);
  monitor.intact_frame(later);
  EXPECT_EQ(monitor.unreported().damaged, 0U);
  return monitor.unreported().missing;
}

TEST(loss_monitor, the_first_frame_only_sets_where_counting_begins) {
  for (const std::uint32_t first : {0U, 1U, 12345U, 0xFFFFFFFFU}) {
    loss_monitor monitor;
    monitor.intact_frame(first);
    EXPECT_FALSE(monitor.unreported().any()) << first;
  }
}

TEST(loss_monitor, frames_in_sequence_are_not_a_loss) {
  EXPECT_EQ(missing_between(0, 1), 0U);
  EXPECT_EQ(missing_between(1, 2), 0U);
  EXPECT_EQ(missing_between(0x7FFFFFFF, 0x80000000), 0U);
}

TEST(loss_monitor, a_gap_counts_the_numbers_between) {
  EXPECT_EQ(missing_between(0, 2), 1U);
  EXPECT_EQ(missing_between(7, 10), 2U);
  EXPECT_EQ(missing_between(5, 1000005), 999999U);
}

TEST(loss_monitor, one_follows_the_largest_number) {
  EXPECT_EQ(missing_between(0xFFFFFFFF, 1), 0U);
  EXPECT_EQ(missing_between(0xFFFFFFFF, 2), 1U);
  EXPECT_EQ(missing_between(0xFFFFFFFE, 1), 1U);
  EXPECT_EQ(missing_between(0xFFFFFFF0, 0x10), 30U);
}

TEST(loss_monitor, zero_is_a_restart) {
  EXPECT_EQ(missing_between(41, 0), 0U);
  EXPECT_EQ(missing_between(0, 0), 0U);
  EXPECT_EQ(missing_between(0xFFFFFFFF, 0), 0U);
  EXPECT_EQ(missing_between(0xFFFFFFF0, 0), 0U);
}

TEST(loss_monitor, a_number_that_goes_backwards_is_a_restart) {
  EXPECT_EQ(missing_between(1000, 3), 0U);
  EXPECT_EQ(missing_between(2, 1), 0U);
  EXPECT_EQ(missing_between(3, 0xFFFFFFFF), 0U);
}

TEST(loss_monitor, the_same_number_again_is_a_restart) {
  EXPECT_EQ(missing_between(9, 9), 0U);
  EXPECT_EQ(missing_between(0xFFFFFFFF, 0xFFFFFFFF), 0U);
}

TEST(loss_monitor, a_step_below_half_the_range_is_forwards_and_half_of_it_is_backwards) {
  EXPECT_EQ(missing_between(1, 0x80000000), 0x7FFFFFFEU);
  EXPECT_EQ(missing_between(1, 0x80000001), 0U);
  EXPECT_EQ(missing_between(0, 0x7FFFFFFF), 0x7FFFFFFEU);
  EXPECT_EQ(missing_between(0, 0x80000000), 0U);
}

TEST(loss_monitor, counting_goes_on_from_a_restart) {
  loss_monitor monitor;
  monitor.intact_frame(1000);
  monitor.intact_frame(3);
  monitor.intact_frame(5);
  EXPECT_EQ(monitor.unreported().missing, 1U);
}

TEST(loss_monitor, a_damaged_frame_is_counted_at_once) {
  loss_monitor monitor;
  monitor.damaged_frame();
  EXPECT_EQ(monitor.unreported().damaged, 1U);
  EXPECT_EQ(monitor.unreported().missing, 0U);
}

TEST(loss_monitor, a_gap_that_damaged_frames_explain_is_not_counted_again) {
  loss_monitor monitor;
  monitor.intact_frame(10);
  monitor.damaged_frame();
  monitor.damaged_frame();
  monitor.intact_frame(13);
  EXPECT_EQ(monitor.unreported().damaged, 2U);
  EXPECT_EQ(monitor.unreported().missing, 0U);
}

TEST(loss_monitor, the_part_of_a_gap_that_damaged_frames_do_not_explain_is_missing) {
  loss_monitor monitor;
  monitor.intact_frame(10);
  monitor.damaged_frame();
  monitor.intact_frame(15);
  EXPECT_EQ(monitor.unreported().damaged, 1U);
  EXPECT_EQ(monitor.unreported().missing, 3U);
}

TEST(loss_monitor, more_damaged_frames_than_the_gap_explains_stay_counted) {
  loss_monitor monitor;
  monitor.intact_frame(10);
  monitor.damaged_frame();
  monitor.damaged_frame();
  monitor.intact_frame(11);
  EXPECT_EQ(monitor.unreported().damaged, 2U);
  EXPECT_EQ(monitor.unreported().missing, 0U);
}

TEST(loss_monitor, damaged_frames_before_an_intact_one_do_not_explain_a_later_gap) {
  loss_monitor monitor;
  monitor.intact_frame(10);
  monitor.damaged_frame();
  monitor.intact_frame(12);
  monitor.reported();
  monitor.intact_frame(14);
  EXPECT_EQ(monitor.unreported().missing, 1U);
  EXPECT_EQ(monitor.unreported().damaged, 0U);
}

TEST(loss_monitor, losses_add_up_until_they_are_reported) {
  loss_monitor monitor;
  monitor.intact_frame(1);
  monitor.intact_frame(3);
  monitor.intact_frame(6);
  EXPECT_EQ(monitor.unreported().missing, 3U);
  monitor.reported();
  EXPECT_FALSE(monitor.unreported().any());
}

TEST(loss_monitor, after_a_reset_a_stream_begins) {
  loss_monitor monitor;
  monitor.intact_frame(1);
  monitor.damaged_frame();
  monitor.reset();
  EXPECT_FALSE(monitor.unreported().any());
  monitor.intact_frame(100);
  EXPECT_FALSE(monitor.unreported().any());
}

TEST(loss_monitor, a_trace_that_was_lost_on_its_way_out_is_a_missing_frame) {
  loss_monitor monitor;
  monitor.intact_frame(1);
  monitor.lost_trace();
  monitor.intact_frame(2);
  EXPECT_EQ(monitor.unreported().missing, 1U);
  EXPECT_EQ(monitor.unreported().damaged, 0U);
}

}  // namespace
}  // namespace open_decoder
