#include "host/simulate/peer_buffer_table.h"

#include <gtest/gtest.h>

#include <string>

namespace veltra::host {
namespace {

struct channel_type {
  const char* channel;
  const char* type;  // without its prefix; null: none
};

void expect_types(std::initializer_list<channel_type> cases) {
  for (const auto& [channel, type] : cases) {
    EXPECT_EQ(asn_type_for_channel(channel).value_or("(none)"),
              type != nullptr ? std::string("ASN_") + type : "(none)")
        << channel;
  }
}

TEST(asn_type, one_word_needs_five_words_of_type) {
  expect_types({{"pcch", "pcch_Message_of_the_cell"},
                {"MCCH", "MCCH_Message_of_the_cell"},
                {"nb", "nb_Message_of_the_cell"},
                {"pcch.NB", "pcch.NB_Message_of_the_cell"},
                {".nb", ".nb_Message_of_the_cell"}});
}

TEST(asn_type, a_narrow_band_word_is_two_words_of_type) {
  expect_types({{"pcch.nb", "pcch_nb"}, {"PCCH.nb", "PCCH_nb"}});
}

TEST(asn_type, two_words_are_two_words_of_type) {
  expect_types({{"dl_dcch", "dl_dcch"},
                {"UL_CCCH", "UL_CCCH"},
                {"bcch_sch", "bcch_sch"},
                {"PCCH_Message", "PCCH_Message"}});
}

TEST(asn_type, two_words_and_an_ending_are_three_words_of_type) {
  expect_types({{"dl_dcch.nb", "dl_dcch_nb"},
                {"DL_DCCH.Message", "DL_DCCH_Message"},
                {"BCCH_DL.SCH", "BCCH_DL_SCH"},
                {"a_nb.c", "a_nb_c"},
                {"a_b.c.d", "a_b_c.d"}});
}

TEST(asn_type, a_dot_that_cannot_separate_words_stays_in_its_word) {
  expect_types({{"bcch_dl.sch", "bcch_dl.sch"}, {"a_.c", "a_.c"}, {"a_b.", "a_b."}});
}

TEST(asn_type, three_words_must_end_in_sch) {
  expect_types({{"bcch_dl_sch", "bcch_dl_sch"},
                {"BCCH_DL_sch", "BCCH_DL_sch"},
                {"BCCH_DL_SCH", nullptr},
                {"a_b_c", nullptr}});
}

TEST(asn_type, three_words_and_an_ending_are_four_words_of_type) {
  expect_types({{"bcch_dl_sch.nb", "bcch_dl_sch_nb"},
                {"BCCH_DL_SCH.Message", "BCCH_DL_SCH_Message"},
                {"a_b_c.sch", "a_b_c_sch"},
                {"a_b_c.d.", "a_b_c_d."},
                {"a_b_.d", nullptr},
                {"a_b_c.", nullptr}});
}

TEST(asn_type, the_reduced_bandwidth_channel_takes_the_nearest_type) {
  expect_types({{"bcch_dl_sch_br", "bcch_dl_sch_br"}});
}

TEST(asn_type, a_channel_that_no_type_leads_to_has_none) {
  for (const char* channel :
       {"a_nb", "a_b_c_d", "a_b_c_d.e", "", "_", "_a", "a_", "a__b", "dl dcch", "dl_dcch\xFF"}) {
    expect_types({{channel, nullptr}});
  }
}

TEST(peer_buffer_table, every_ordinary_layer_has_a_buffer_from_the_start) {
  peer_buffer_table table;
  const std::size_t ordinary = table.buffers().size();
  EXPECT_EQ(ordinary, 18U);
  for (const std::string channel :
       {"bcch_bch", "bcch_dl_sch", "pcch", "dl_ccch", "dl_dcch", "ul_ccch", "ul_dcch", "mcch"}) {
    EXPECT_NE(table.find_or_add("lte_rrc." + channel), nullptr);
    EXPECT_NE(table.find_or_add("lte_rrc." + channel + ".nb"), nullptr);
  }
  EXPECT_NE(table.find_or_add("lte_rrc.bcch_dl_sch_br"), nullptr);
  EXPECT_NE(table.find_or_add("nas-eps"), nullptr);
  EXPECT_EQ(table.buffers().size(), ordinary);
}

TEST(peer_buffer_table, a_layer_with_a_name_of_its_own_is_added_once_after_the_others) {
  peer_buffer_table table;
  const peer_buffer last = table.buffers().back();
  const peer_buffer* added = table.find_or_add("lte_rrc.DL_DCCH.Message");
  ASSERT_NE(added, nullptr);
  EXPECT_EQ(added->id, last.id + 1);
  EXPECT_EQ(added->layer_id, last.layer_id);
  EXPECT_EQ(added->layer, "lte_rrc.DL_DCCH.Message");
  EXPECT_EQ(added->type, "ASN_DL_DCCH_Message");
  const std::size_t size = table.buffers().size();
  EXPECT_EQ(table.find_or_add("lte_rrc.DL_DCCH.Message")->id, last.id + 1);
  EXPECT_EQ(table.buffers().size(), size);
}

TEST(peer_buffer_table, a_layer_that_cannot_be_carried_is_not_added) {
  peer_buffer_table table;
  const std::size_t size = table.buffers().size();
  for (const char* layer :
       {"", "lte_rrc", "lte_rrc.", "lte_rrc.a_nb", "LTE_RRC.pcch", "NAS-EPS", "nas-eps ", "wifi"}) {
    EXPECT_EQ(table.find_or_add(layer), nullptr) << layer;
  }
  EXPECT_EQ(table.buffers().size(), size);
}

}  // namespace
}  // namespace veltra::host
