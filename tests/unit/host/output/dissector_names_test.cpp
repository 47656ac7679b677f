#include "host/output/dissector_names.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/support/value_tests.h"

namespace veltra::host {
namespace {

struct example {
  std::string_view layer;
  std::string_view dissector;
  packet_kind kind;
  direction way;
};

void PrintTo(const example& value, std::ostream* out) {
  *out << value.layer;
}

using enum packet_kind;
using enum direction;

class known_layer : public testing::Test, public test_support::given_value<example> {};

TEST_GIVEN(known_layer, has_its_dissector) {
  const auto& [layer, name, kind, way] = given();
  const dissector* found = find_dissector(layer);
  ASSERT_NE(found, nullptr) << layer;
  EXPECT_EQ(found->name, name);
  EXPECT_EQ(found->kind, kind);
  EXPECT_EQ(found->way, way);
}

GIVEN(dissector_names, known_layer,
      {example{"ip", "ip", ip, unknown},
       example{"nas-eps", "nas-eps", nas, unknown},
       example{"NAS_EPS", "nas-eps", nas, unknown},
       example{"at", "at", at, unknown},
       example{"AT", "at", at, unknown},
       example{"lte_rrc.dl_dcch", "lte_rrc.dl_dcch", rrc, received},
       example{"lte_rrc.DL_DCCH", "lte_rrc.dl_dcch", rrc, received},
       example{"lte_rrc.DL_DCCH.Message", "lte_rrc.dl_dcch", rrc, received},
       example{"lte_rrc.DL_DCCH_Message", "lte_rrc.dl_dcch", rrc, received},
       example{"lte_rrc.DL-DCCH-MessageType", "lte_rrc.dl_dcch", rrc, received},
       example{"lte_rrc.UL_CCCH", "lte_rrc.ul_ccch", rrc, sent},
       example{"lte_rrc.BCCH_DL.SCH", "lte_rrc.bcch_dl_sch", rrc, received},
       example{"lte_rrc.BCCH_DL.sch", "lte_rrc.bcch_dl_sch", rrc, received},
       example{"lte_rrc.BCCH_DL_SCH_BR", "lte_rrc.bcch_dl_sch_br", rrc, received},
       example{"lte_rrc.BCCH_BCH.nb", "lte_rrc.bcch_bch.nb", rrc, received},
       example{"lte_rrc.BCCH_BCH.NB", "lte_rrc.bcch_bch.nb", rrc, received},
       example{"lte_rrc.BCCH_DL.SCH.MBMS", "lte_rrc.bcch_dl_sch.mbms", rrc, received},
       example{"lte_rrc.PCCH.nb", "lte_rrc.pcch.nb", rrc, received},
       example{"lte_rrc.SC_MCCH", "lte_rrc.sc_mcch", rrc, received},
       example{"lte_rrc.UL_DCCH.nb", "lte_rrc.ul_dcch.nb", rrc, sent}});

TEST(dissector_names, a_layer_with_another_word_is_unknown) {
  for (const std::string_view layer :
       {"lte_rrc.DL_DCCH.extra", "lte_rrc.DL", "lte_rrc", "lte_rrc.", "lte_rrc.dcch_dl", "ipv7",
        "nas", "nas-5gs", "a-t", "lte_rrc.dl_dcch.nb.nb", "lte rrc.dl_dcch"}) {
    EXPECT_EQ(find_dissector(layer), nullptr) << layer;
  }
}

TEST(dissector_names, names_of_nothing_but_separators_and_empty_words_are_unknown) {
  for (const std::string_view layer : {"", ".", "_-.", "message", "Message.MessageType"}) {
    EXPECT_EQ(find_dissector(layer), nullptr) << layer;
  }
}

TEST(dissector_names, bytes_beyond_ascii_are_no_letters) {
  EXPECT_EQ(find_dissector("\xc3\x84t"), nullptr);
  EXPECT_EQ(find_dissector("at\xff"), nullptr);
}

}  // namespace
}  // namespace veltra::host
