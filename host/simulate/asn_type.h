// asn_type.h - the peer buffer type under which an LTE RRC channel is traced.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace veltra::host {

// The channels of 3GPP TS 36.331 that a session can name after "lte_rrc.".
// A sentence for people; the narrow-band ones have the ending ".nb".
constexpr std::string_view rrc_channels =
    "bcch_bch, bcch_dl_sch, bcch_dl_sch_br, pcch, dl_ccch, dl_dcch, ul_ccch, ul_dcch, mcch and, "
    "except for bcch_dl_sch_br, their .nb forms";

// Returns the type of a peer buffer whose messages are decoded as the layer
// "lte_rrc." + `channel`, in the channel's own letter case, or nothing if no type
// leads to that layer.
//
// The decoding side names the layer after the words of the type, and how many
// there are decides which of them it keeps and whether "_" or "." joins them:
//
//   words after "ASN_"     layer after "lte_rrc."
//   a b                    a_b, but a.nb if b is "nb"
//   a b c                  a_b.c, but a_b_sch if c is "sch"
//   a b c d                a_b_c.d
//   five or more           a
//
// The one layer without an exact type that is carried all the same is
// bcch_dl_sch_br: its type gives bcch_dl_sch.br, which means the same channel.
std::optional<std::string> asn_type_for_channel(std::string_view channel);

}  // namespace veltra::host
