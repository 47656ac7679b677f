#include "host/report/losses.h"

namespace veltra::report {

std::vector<loss> find_losses(const std::vector<message>& messages) {
  std::vector<loss> result;
  const message* before = nullptr;
  for (const message& each : messages) {
    const std::uint64_t begin =
        before != nullptr && !each.clock_restarted ? before->time : each.time;
    const bool is_gap = each.time > begin && each.time - begin >= min_gap;
    if (each.traces_lost != 0 || is_gap) {
      result.push_back({each.frame, begin, each.time, each.traces_lost});
    }
    before = &each;
  }
  return result;
}

}  // namespace veltra::report
