// peer_buffer_table.h - which peer buffer carries the messages of which layer, and the
// type under which the channels of LTE RRC are traced.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

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

// One peer buffer of the virtual modem.
struct peer_buffer {
  std::uint32_t id = 0;
  std::uint8_t layer_id = 0;  // peer layer that its messages belong to
  std::string layer;          // layer of the decoded packets, such as "nas-eps"
  std::string type;           // such as "ASN_pcch_nb" or "NAS_PDU"
};

// The peer buffers, in the order of their ids. Every ordinary layer has one from
// the start, so that one trace database serves all ordinary sessions; layers
// with names of their own follow as they are met. One thread at a time.
class peer_buffer_table {
 public:
  peer_buffer_table();

  // Returns the buffer for a layer, adding it if need be, or null if messages of
  // that layer cannot be carried. The pointer is good until the next call.
  const peer_buffer* find_or_add(std::string_view layer);

  const std::vector<peer_buffer>& buffers() const noexcept { return buffers_; }

 private:
  std::vector<peer_buffer> buffers_;
  std::unordered_map<std::string, std::size_t> index_;  // by layer
};

}  // namespace veltra::host
