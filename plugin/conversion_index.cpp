#include "plugin/conversion_index.h"

#include <algorithm>
#include <array>
#include <set>

#include "implementation/json_values.h"
#include "plugin/trace_db_config.h"

namespace veltra {

namespace {

trace_type type_from_name(std::string_view name) {
  if (name == "peer_dump") return trace_type::peer_dump;
  if (name == "formatted") return trace_type::formatted;
  return trace_type::other;
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// What to_u32() takes.
bool is_numeric(const kovax::json& value) {
  return value.is_number() || value.is_boolean();
}

// The runs of characters between underscores; those past the fifth are only
// counted as "five or more".
struct name_tokens {
  static constexpr std::size_t max_count = 5;
  std::array<std::string_view, max_count> token;
  std::size_t count = 0;
};

name_tokens split_at_underscores(std::string_view text) {
  name_tokens tokens;
  while (tokens.count < name_tokens::max_count) {
    const std::size_t begin = text.find_first_not_of('_');
    if (begin == std::string_view::npos) break;
    text.remove_prefix(begin);
    const std::string_view token = text.substr(0, text.find('_'));
    tokens.token[tokens.count++] = token;
    text.remove_prefix(token.size());
  }
  return tokens;
}

// Makes the layer's name of an RRC message type such as "DL_DCCH_Message" in
// `name`; false when the type names no channel.
bool make_rrc_layer_name(std::string_view type, std::string& name) {
  const name_tokens tokens = split_at_underscores(type);
  const auto& t = tokens.token;
  if (tokens.count < 2) return false;
  name.assign("lte_rrc.").append(t[0]);
  switch (tokens.count) {
    case 2:
      name.append(t[1] == "nb" ? "." : "_").append(t[1]);
      break;
    case 3:
      name.append("_").append(t[1]).append(t[2] == "sch" ? "_" : ".").append(t[2]);
      break;
    case 4:
      name.append("_").append(t[1]).append("_").append(t[2]).append(".").append(t[3]);
      break;
    default:
      break;
  }
  return true;
}

peer_buffer describe_peer_buffer(const kovax::json& element, std::size_t position) {
  constexpr std::string_view rrc_prefix = "ASN_";
  using rule = peer_buffer::rule;
  peer_buffer peer{.position = position, .layer = std::nullopt, .layer_name = {}};
  if (is_numeric(element.at("layer"))) peer.layer = kovax::to_u32(element.at("layer"));
  const auto type = element.find("type");
  if (type == element.end() || !element.contains("name")) return peer;
  if (!type->is_string()) {
    peer.message = rule::not_a_text;
    return peer;
  }
  std::string_view text = type->get_ref<const std::string&>();
  if (text.starts_with("NAS_PDU")) {
    peer.message = rule::nas;
    return peer;
  }
  peer.message = rule::none;
  if (!text.starts_with(rrc_prefix)) return peer;
  text.remove_prefix(rrc_prefix.size());
  if (make_rrc_layer_name(text, peer.layer_name)) peer.message = rule::rrc;
  return peer;
}

}  // namespace

buffer_traits classify_buffer(std::string_view name) {
  using rule = buffer_traits::rule;
  buffer_traits traits;
  if (contains(name, "EPDCP_UP_PACKET")) {
    traits.payload = rule::network;
  } else if (contains(name, "TLS_HANDSHAKE_RANDBYTES")) {
    traits.payload = rule::tls_handshake_randbytes;
  } else if (contains(name, "TLS_SESSION_MASTER")) {
    traits.payload = rule::tls_session_master;
  }
  traits.at_string = name.starts_with("AT_STRING");
  traits.request = contains(name, "REQ");
  return traits;
}

void trace_type_index::build(const std::vector<type_descriptor>& descriptors) {
  // A sweep over the ids at which some condition begins or ends to hold.
  struct edge {
    std::uint64_t at;  // one past the largest id is possible
    std::size_t position;
    bool begins;
  };
  std::vector<edge> edges;
  edges.reserve(2 * descriptors.size());
  for (std::size_t position = 0; position < descriptors.size(); ++position) {
    const type_descriptor& descriptor = descriptors[position];
    const std::uint32_t first =
        descriptor.trace_id ? *descriptor.trace_id : descriptor.id_range->min;
    const std::uint32_t last =
        descriptor.trace_id ? *descriptor.trace_id : descriptor.id_range->max;
    if (first > last) continue;
    edges.push_back({first, position, true});
    edges.push_back({std::uint64_t{last} + 1, position, false});
  }
  std::sort(edges.begin(), edges.end(), [](const edge& a, const edge& b) { return a.at < b.at; });

  spans_.clear();
  std::set<std::size_t> holding;
  for (std::size_t i = 0; i < edges.size();) {
    const std::uint64_t at = edges[i].at;
    for (; i < edges.size() && edges[i].at == at; ++i) {
      if (edges[i].begins) {
        holding.insert(edges[i].position);
      } else {
        holding.erase(edges[i].position);
      }
    }
    if (at > UINT32_MAX) break;
    const trace_type type =
        holding.empty() ? trace_type::other : type_from_name(descriptors[*holding.begin()].type);
    if (spans_.empty() || spans_.back().type != type) {
      spans_.push_back({static_cast<std::uint32_t>(at), type});
    }
  }
}

trace_type trace_type_index::find(std::uint32_t trace_id) const {
  const auto after =
      std::upper_bound(spans_.begin(), spans_.end(), trace_id,
                       [](std::uint32_t id, const span& entry) { return id < entry.first; });
  return after == spans_.begin() ? trace_type::other : (after - 1)->type;
}

void peer_buffer_index::build(const std::vector<kovax::json>& elements) {
  for (std::size_t position = 0; position < elements.size(); ++position) {
    const kovax::json& element = elements[position];
    if (!element.is_object()) continue;
    const auto id = element.find("id");
    if (id == element.end()) continue;
    if (!is_numeric(*id)) {
      // Every walk that gets this far ends here.
      first_without_numeric_id_ = position;
      return;
    }
    if (!element.contains("layer")) continue;
    by_id_[kovax::to_u32(*id)].push_back(describe_peer_buffer(element, position));
  }
}

const peer_buffer* peer_buffer_index::find(const std::vector<kovax::json>& elements,
                                           std::uint32_t id, std::uint32_t layer) const {
  if (const auto found = by_id_.find(id); found != by_id_.end()) {
    for (const peer_buffer& peer : found->second) {
      if (!peer.layer) kovax::to_u32(elements[peer.position].at("layer"));  // throws
      if (peer.layer == layer) return &peer;
    }
  }
  if (first_without_numeric_id_) {
    kovax::to_u32(*elements[*first_without_numeric_id_].find("id"));
  }
  return nullptr;
}

void build_conversion_index(trace_db_config& config) {
  for (const auto& [id, name] : config.buffers) config.index.buffers[id] = classify_buffer(name);
  config.index.types.build(config.type_descriptors);
  config.index.peers.build(config.peer_buffers);
}

}  // namespace veltra
