#include "host/report/events.h"

#include <algorithm>

namespace veltra::report {

event_index::event_index(const analysis& all) {
  std::vector<const procedure*> longest_first;
  for (const procedure& each : all.procedures) longest_first.push_back(&each);
  std::stable_sort(
      longest_first.begin(), longest_first.end(),
      [](const procedure* a, const procedure* b) { return a->milliseconds() > b->milliseconds(); });
  for (const procedure* each : longest_first) {
    for (const std::uint32_t frame : each->frames) by_frame_[frame] = each;
    if (each->cause && each->result != procedure_result::succeeded) {
      causes_[each->last_frame()] = &*each->cause;
    }
  }
}

const procedure* event_index::procedure_of(const message& each) const {
  auto found = by_frame_.find(each.frame);
  if (found == by_frame_.end() && each.nas_copy != 0) found = by_frame_.find(each.nas_copy);
  return found != by_frame_.end() ? found->second : nullptr;
}

const cause* event_index::cause_of(const message& each) const {
  const auto found = causes_.find(each.frame);
  return found != causes_.end() ? found->second : nullptr;
}

}  // namespace veltra::report
