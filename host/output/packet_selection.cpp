#include "host/output/packet_selection.h"

#include <algorithm>

#include "host/source/packet.h"

namespace veltra::host {

const std::vector<std::string>& kind_names() {
  static const std::vector<std::string> names = {"ip", "rrc", "nas", "at", "other", "raw"};
  return names;
}

std::optional<packet_kind> kind_named(std::string_view name) {
  const auto found = std::find(kind_names().begin(), kind_names().end(), name);
  if (found == kind_names().end()) return std::nullopt;
  return static_cast<packet_kind>(found - kind_names().begin());
}

std::string describe_kinds(const packet_selection& selection) {
  std::string text;
  for (std::size_t i = 0; i < packet_kind_count; ++i) {
    if (selection.kinds[i]) text += (text.empty() ? "" : ",") + kind_names()[i];
  }
  return text;
}

bool packet_selection::has_layer(std::string_view layer) const {
  if (layer == raw_layer) return has(packet_kind::raw);
  if (is_key_material(layer)) return has_secrets();
  const dissector* const found = find_dissector(layer);
  return has(found != nullptr ? found->kind : packet_kind::other);
}

}  // namespace veltra::host
