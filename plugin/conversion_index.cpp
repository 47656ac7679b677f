#include "plugin/conversion_index.h"

#include <algorithm>
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
    if (!id->is_number() && !id->is_boolean()) {
      // Every walk that gets this far ends here.
      first_without_numeric_id_ = position;
      return;
    }
    if (element.contains("layer")) positions_by_id_[kovax::to_u32(*id)].push_back(position);
  }
}

const kovax::json* peer_buffer_index::find(const std::vector<kovax::json>& elements,
                                           std::uint32_t id, std::uint32_t layer) const {
  if (const auto found = positions_by_id_.find(id); found != positions_by_id_.end()) {
    for (const std::size_t position : found->second) {
      const kovax::json& element = elements[position];
      if (kovax::to_u32(*element.find("layer")) == layer) return &element;
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
