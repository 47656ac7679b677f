#include "host/simulate/peer_buffer_table.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

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

constexpr std::string_view type_prefix = "ASN_";
// Four more words, so that only the first one is kept.
constexpr std::string_view one_word_ending = "_Message_of_the_cell";
constexpr std::string_view narrow_band_ending = ".nb";
constexpr std::string_view reduced_bandwidth_channel = "bcch_dl_sch_br";

// What a channel's name may hold; more would not survive as a packet's layer.
constexpr bool is_channel_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.' || c == '-';
}

bool has_empty_word(std::string_view channel) {
  return channel.empty() || channel.front() == '_' || channel.back() == '_' ||
         channel.find("__") != std::string_view::npos;
}

std::string type_of(std::string_view words) {
  return std::string(type_prefix).append(words);
}

// `words` with the dot at `dot` turned into the joint before one more word.
std::string split_at(std::string_view words, std::size_t dot) {
  std::string type = type_of(words);
  type[type_prefix.size() + dot] = '_';
  return type;
}

std::optional<std::string> one_word_type(std::string_view channel) {
  const std::size_t stem = channel.size() - std::min(channel.size(), narrow_band_ending.size());
  if (stem > 0 && channel.substr(stem) == narrow_band_ending) return split_at(channel, stem);
  return type_of(channel).append(one_word_ending);
}

// The first dot of a word that has characters on both sides; npos if there is none.
std::size_t inner_dot(std::string_view word) {
  const std::size_t dot = word.find('.', 1);
  return dot != std::string_view::npos && dot + 1 < word.size() ? dot : std::string_view::npos;
}

std::optional<std::string> two_word_type(std::string_view channel, std::size_t joint) {
  const std::string_view second = channel.substr(joint + 1);
  if (second == "nb") return std::nullopt;
  const std::size_t dot = inner_dot(second);
  // As a word of its own, "sch" would be joined by "_".
  if (dot == std::string_view::npos || second.substr(dot + 1) == "sch") return type_of(channel);
  return split_at(channel, joint + 1 + dot);
}

std::optional<std::string> three_word_type(std::string_view channel, std::size_t last_joint) {
  const std::string_view third = channel.substr(last_joint + 1);
  if (third == "sch") return type_of(channel);
  const std::size_t dot = inner_dot(third);
  if (dot == std::string_view::npos) return std::nullopt;
  return split_at(channel, last_joint + 1 + dot);
}

}  // namespace

std::optional<std::string> asn_type_for_channel(std::string_view channel) {
  if (channel == reduced_bandwidth_channel) return type_of(channel);
  if (has_empty_word(channel) ||
      !std::all_of(channel.begin(), channel.end(), is_channel_character)) {
    return std::nullopt;
  }
  switch (std::count(channel.begin(), channel.end(), '_')) {
    case 0:
      return one_word_type(channel);
    case 1:
      return two_word_type(channel, channel.find('_'));
    case 2:
      return three_word_type(channel, channel.rfind('_'));
    default:
      return std::nullopt;
  }
}

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
