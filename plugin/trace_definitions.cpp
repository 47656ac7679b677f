#include "plugin/trace_definitions.h"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "implementation/json_document.h"

namespace veltra {

trace_definitions::trace_definitions(std::string text, std::vector<place> places)
    : places_(std::move(places)) {
  if (places_.empty()) return;  // nor is the text needed
  text_ = std::move(text);
  std::sort(places_.begin(), places_.end(), [](const place& a, const place& b) {
    return std::tie(a.id, a.begin) < std::tie(b.id, b.begin);
  });
  const auto same_id = [](const place& a, const place& b) { return a.id == b.id; };
  places_.erase(std::unique(places_.begin(), places_.end(), same_id), places_.end());
}

trace_definitions::~trace_definitions() {
  for (auto& entry : parsed_) kovax::dismantle(entry.second);
}

void trace_definitions::add(std::uint32_t id, kovax::json& definition) {
  if (find(id) != nullptr) return;
  // In two steps: a definition that the map cannot take stays where it is.
  kovax::json& kept = parsed_[id];
  kept = std::move(definition);
  ++added_;
}

const kovax::json* trace_definitions::find(std::uint32_t id) {
  if (const auto found = parsed_.find(id); found != parsed_.end()) return &found->second;
  const auto found =
      std::lower_bound(places_.begin(), places_.end(), id,
                       [](const place& each, std::uint32_t wanted) { return each.id < wanted; });
  if (found == places_.end() || found->id != id) return nullptr;
  kovax::json_document definition(
      std::string_view(text_).substr(found->begin, found->end - found->begin));
  kovax::json& kept = parsed_[id];
  kept = std::move(definition.root());
  return &kept;
}

}  // namespace veltra
