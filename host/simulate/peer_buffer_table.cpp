#include "host/simulate/peer_buffer_table.h"

#include <array>
#include <optional>
#include <utility>

#include "host/simulate/asn_type.h"
#include "host/simulate/trace_ids.h"

namespace veltra::host {

namespace {

constexpr std::string_view rrc_prefix = "lte_rrc.";
constexpr std::string_view nas_layer = "nas-eps";

constexpr std::array ordinary_layers{
    std::string_view("nas-eps"),
    std::string_view("lte_rrc.bcch_bch"),
    std::string_view("lte_rrc.bcch_dl_sch"),
    std::string_view("lte_rrc.bcch_dl_sch_br"),
    std::string_view("lte_rrc.pcch"),
    std::string_view("lte_rrc.dl_ccch"),
    std::string_view("lte_rrc.dl_dcch"),
    std::string_view("lte_rrc.ul_ccch"),
    std::string_view("lte_rrc.ul_dcch"),
    std::string_view("lte_rrc.mcch"),
    std::string_view("lte_rrc.bcch_bch.nb"),
    std::string_view("lte_rrc.bcch_dl_sch.nb"),
    std::string_view("lte_rrc.pcch.nb"),
    std::string_view("lte_rrc.dl_ccch.nb"),
    std::string_view("lte_rrc.dl_dcch.nb"),
    std::string_view("lte_rrc.ul_ccch.nb"),
    std::string_view("lte_rrc.ul_dcch.nb"),
    std::string_view("lte_rrc.mcch.nb"),
};

}  // namespace

peer_buffer_table::peer_buffer_table() {
  for (const std::string_view layer : ordinary_layers) find_or_add(layer);
}

const peer_buffer* peer_buffer_table::find_or_add(std::string_view layer) {
  const auto found = index_.find(std::string(layer));
  if (found != index_.end()) return &buffers_[found->second];

  peer_buffer added;
  if (layer == nas_layer) {
    added.layer_id = peer_layer_nas;
    added.type = "NAS_PDU";
  } else if (layer.starts_with(rrc_prefix)) {
    auto type = asn_type_for_channel(layer.substr(rrc_prefix.size()));
    if (!type) return nullptr;
    added.layer_id = peer_layer_rrc;
    added.type = *std::move(type);
  } else {
    return nullptr;
  }
  added.id = first_peer_buffer + static_cast<std::uint32_t>(buffers_.size());
  added.layer = layer;
  index_.emplace(added.layer, buffers_.size());
  buffers_.push_back(std::move(added));
  return &buffers_.back();
}

}  // namespace veltra::host
