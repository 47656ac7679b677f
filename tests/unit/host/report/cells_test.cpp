#include "host/report/cells.h"

#include <gmock/gmock.h>

#include "host/report/losses.h"
#include "host/report/radio_connections.h"
#include "tests/unit/host/report/script.h"

namespace veltra::report {
namespace {

using testing::ElementsAre;

using rrc = rrc_message;

script::values broadcast(const char* identity, const char* area = "0042") {
  script::values result = {{field::sib1_tracking_area, area},
                           {field::sib1_cell_identity, identity},
                           {field::sib1_band, "3"},
                           {field::sib1_mcc_length, "3"},
                           {field::sib1_mnc_length, "2"}};
  for (const char* const digit : {"0", "0", "1", "0", "1"}) {
    result.emplace_back(field::sib1_plmn_digits, digit);
  }
  return result;
}

TEST(cells, say_who_they_are) {
  const auto found =
      find_cells(script().rrc(rrc::system_information_1, broadcast("0123a010", "0103")).messages());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].text(), "PLMN 001-01, TAC 0x0103, cell 0x0123A01, band 3");
}

TEST(cells, may_belong_to_several_networks) {
  script::values shared = broadcast("0123a010");
  shared.emplace_back(field::sib1_mcc_length, "3");
  shared.emplace_back(field::sib1_mnc_length, "3");
  for (const char* const digit : {"3", "1", "0", "4", "1", "0"}) {
    shared.emplace_back(field::sib1_plmn_digits, digit);
  }
  EXPECT_THAT(find_cells(script().rrc(rrc::system_information_1, shared).messages())[0].plmns,
              ElementsAre("001-01", "310-410"));
}

TEST(cells, one_that_is_read_again_is_the_same) {
  EXPECT_EQ(find_cells(script()
                           .rrc(rrc::system_information_1, broadcast("0123a010"))
                           .rrc(rrc::system_information_1, broadcast("0123a010"))
                           .rrc(rrc::system_information_1, broadcast("0123b010"))
                           .messages())
                .size(),
            2U);
}

TEST(cells, a_handover_names_the_next_one) {
  const auto found =
      find_cells(script()
                     .rrc(rrc::system_information_1, broadcast("0123a010"))
                     .rrc(rrc::reconfiguration, {{field::rrc_mobility_control_info, "1"},
                                                 {field::rrc_target_cell, "120"},
                                                 {field::rrc_target_frequency, "1300"}})
                     .rrc(rrc::system_information_1, broadcast("0123b010"))
                     .messages());
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].pci, std::nullopt);
  EXPECT_EQ(found[1].pci, 120U);
  EXPECT_EQ(found[1].earfcn, 1300U);
}

TEST(cells, a_lost_link_names_the_one_that_was_lost) {
  const auto found = find_cells(script()
                                    .rrc(rrc::system_information_1, broadcast("0123a010"))
                                    .connect()
                                    .rrc(rrc::system_information_1, broadcast("0123b010"))
                                    .rrc(rrc::reestablishment_request, {{field::rrc_cell, "311"}})
                                    .messages());
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].pci, 311U);
  EXPECT_EQ(found[1].pci, std::nullopt);
}

TEST(cells, damaged_values_are_left_out) {
  script::values odd = broadcast("0123");
  odd.emplace_back(field::sib1_band, "x");
  const auto found = find_cells(script().rrc(rrc::system_information_1, odd).messages());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].identity, std::nullopt);
}

TEST(radio_connections, last_from_setup_to_release) {
  const script played = script().connect().after(500).release().connect().after(100).rrc(
      rrc::reestablishment_request);
  const auto found = find_radio_connections(played.messages());
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].end - found[0].begin, 500'000'000U);
  EXPECT_EQ(found[1].end - found[1].begin, 100'000'000U);
}

TEST(radio_connections, one_that_runs_at_the_end_lasts_until_there) {
  EXPECT_EQ(find_radio_connections(script().connect().after(70).at("OK").messages()).size(), 1U);
}

TEST(losses, are_between_the_report_and_the_message_before) {
  const auto found = find_losses(script().at("AT").after(300).lost(7).messages());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].frame, 2U);
  EXPECT_EQ(found[0].end - found[0].begin, 300'000'000U);
  EXPECT_EQ(found[0].traces, 7U);
}

TEST(losses, a_long_silence_is_a_gap) {
  EXPECT_TRUE(find_losses(script().at("AT").after(59'000).at("OK").messages()).empty());
  const auto found = find_losses(script().at("AT").after(61'000).at("OK").messages());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].traces, 0U);
}

}  // namespace
}  // namespace veltra::report
