#include "host/simulate/asn_type.h"

#include <gtest/gtest.h>

#include "host/simulate/peer_buffer_table.h"

namespace veltra::host {
namespace {

std::string type_for(std::string_view channel) {
  return asn_type_for_channel(channel).value_or("(none)");
}

TEST(asn_type, one_word_needs_five_words_of_type) {
  EXPECT_EQ(type_for("pcch"), "ASN_pcch_Message_of_the_cell");
  EXPECT_EQ(type_for("MCCH"), "ASN_MCCH_Message_of_the_cell");
  EXPECT_EQ(type_for("nb"), "ASN_nb_Message_of_the_cell");
}

TEST(asn_type, a_narrow_band_word_is_two_words_of_type) {
  EXPECT_EQ(type_for("pcch.nb"), "ASN_pcch_nb");
  EXPECT_EQ(type_for("PCCH.nb"), "ASN_PCCH_nb");
}

TEST(asn_type, any_other_dot_in_one_word_stays_in_it) {
  EXPECT_EQ(type_for("pcch.NB"), "ASN_pcch.NB_Message_of_the_cell");
  EXPECT_EQ(type_for(".nb"), "ASN_.nb_Message_of_the_cell");
}

TEST(asn_type, two_words_are_two_words_of_type) {
  EXPECT_EQ(type_for("dl_dcch"), "ASN_dl_dcch");
  EXPECT_EQ(type_for("UL_CCCH"), "ASN_UL_CCCH");
  EXPECT_EQ(type_for("bcch_sch"), "ASN_bcch_sch");
  EXPECT_EQ(type_for("PCCH_Message"), "ASN_PCCH_Message");
}

TEST(asn_type, two_words_and_an_ending_are_three_words_of_type) {
  EXPECT_EQ(type_for("dl_dcch.nb"), "ASN_dl_dcch_nb");
  EXPECT_EQ(type_for("DL_DCCH.Message"), "ASN_DL_DCCH_Message");
  EXPECT_EQ(type_for("BCCH_DL.SCH"), "ASN_BCCH_DL_SCH");
  EXPECT_EQ(type_for("a_nb.c"), "ASN_a_nb_c");
  EXPECT_EQ(type_for("a_b.c.d"), "ASN_a_b_c.d");
}

TEST(asn_type, an_ending_that_would_become_a_word_stays_in_the_second_word) {
  EXPECT_EQ(type_for("bcch_dl.sch"), "ASN_bcch_dl.sch");
}

TEST(asn_type, a_dot_at_the_edge_of_the_second_word_stays_in_it) {
  EXPECT_EQ(type_for("a_.c"), "ASN_a_.c");
  EXPECT_EQ(type_for("a_b."), "ASN_a_b.");
}

TEST(asn_type, three_words_must_end_in_sch) {
  EXPECT_EQ(type_for("bcch_dl_sch"), "ASN_bcch_dl_sch");
  EXPECT_EQ(type_for("BCCH_DL_sch"), "ASN_BCCH_DL_sch");
  EXPECT_EQ(type_for("BCCH_DL_SCH"), "(none)");
  EXPECT_EQ(type_for("a_b_c"), "(none)");
}

TEST(asn_type, three_words_and_an_ending_are_four_words_of_type) {
  EXPECT_EQ(type_for("bcch_dl_sch.nb"), "ASN_bcch_dl_sch_nb");
  EXPECT_EQ(type_for("BCCH_DL_SCH.Message"), "ASN_BCCH_DL_SCH_Message");
  EXPECT_EQ(type_for("a_b_c.sch"), "ASN_a_b_c_sch");
  EXPECT_EQ(type_for("a_b_c.d."), "ASN_a_b_c_d.");
  EXPECT_EQ(type_for("a_b_.d"), "(none)");
  EXPECT_EQ(type_for("a_b_c."), "(none)");
}

TEST(asn_type, the_reduced_bandwidth_channel_takes_the_nearest_type) {
  EXPECT_EQ(type_for("bcch_dl_sch_br"), "ASN_bcch_dl_sch_br");
}

TEST(asn_type, what_no_type_leads_to_has_none) {
  EXPECT_EQ(type_for("a_nb"), "(none)");
  EXPECT_EQ(type_for("a_b_c_d"), "(none)");
  EXPECT_EQ(type_for("a_b_c_d.e"), "(none)");
  EXPECT_EQ(type_for(""), "(none)");
  EXPECT_EQ(type_for("_"), "(none)");
  EXPECT_EQ(type_for("_a"), "(none)");
  EXPECT_EQ(type_for("a_"), "(none)");
  EXPECT_EQ(type_for("a__b"), "(none)");
  EXPECT_EQ(type_for("dl dcch"), "(none)");
  EXPECT_EQ(type_for("dl_dcch\xFF"), "(none)");
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

TEST(peer_buffer_table, a_layer_with_a_name_of_its_own_is_added_once_behind_the_others) {
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
