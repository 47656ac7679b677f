#include "host/report/baseline.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>

#include "host/report/indicators.h"

namespace veltra::report {

namespace {

// Captures keep their names from night to night, in directories that change.
std::string base_name(const analysis& all) {
  const std::size_t slash = all.file.find_last_of("/\\");
  return slash == std::string::npos ? all.file : all.file.substr(slash + 1);
}

std::string percent(double share) {
  return fmt::format("{:.1f} %", share * 100);
}

std::string state_words(registration state) {
  std::string words(registration_id(state));
  std::replace(words.begin(), words.end(), '_', ' ');
  return words;
}

class comparer {
 public:
  comparer(std::span<const analysis> before, std::span<const analysis> now, const tolerance& limits)
      : before_(before), now_(now), limits_(limits) {}

  baseline_comparison run() {
    compare_indicators();
    compare_losses();
    compare_states();
    return std::move(result_);
  }

 private:
  void add(bool is_worse, change difference) {
    (is_worse ? result_.worse : result_.better).push_back(std::move(difference));
  }

  void compare_indicators() {
    std::map<std::string, indicator> old;
    for (indicator& each : find_indicators(before_)) old.emplace(each.name, std::move(each));
    for (const indicator& each : find_indicators(now_)) {
      const auto found = old.find(each.name);
      if (found == old.end()) continue;
      compare_indicator(found->second, each);
    }
  }

  void compare_indicator(const indicator& old, const indicator& now) {
    const double gain = now.success_rate() - old.success_rate();
    if (std::abs(gain) > limits_.success_points) {
      add(gain < 0,
          {now.title, "success rate", percent(old.success_rate()), percent(now.success_rate())});
    }
    for (const auto& [words, count] : now.causes) {
      if (old.causes.contains(words)) continue;
      add(true, {now.title, "cause", "never", fmt::format("{} x {}", count, words)});
    }
    compare_durations(now.title, "median", old.median_ms, now.median_ms);
    if (old.succeeded >= limits_.min_runs_for_p95 && now.succeeded >= limits_.min_runs_for_p95) {
      compare_durations(now.title, "95th percentile", old.p95_ms, now.p95_ms);
    }
  }

  void compare_durations(const std::string& title, const char* measure, std::optional<double> old,
                         std::optional<double> now) {
    if (!old || !now) return;
    const double limit = std::max(*old * limits_.duration_share, limits_.min_duration_ms);
    if (std::abs(*now - *old) <= limit) return;
    add(*now > *old, {title, measure, duration_text(*old), duration_text(*now)});
  }

  static double lost_per_capture(std::span<const analysis> captures) {
    std::uint64_t sum = 0;
    for (const analysis& each : captures) sum += each.traces_lost();
    return captures.empty() ? 0 : static_cast<double>(sum) / static_cast<double>(captures.size());
  }

  void compare_losses() {
    const double old = lost_per_capture(before_);
    const double now = lost_per_capture(now_);
    if (std::abs(now - old) <= old * limits_.duration_share) return;
    add(now > old,
        {"lost traces", "a capture", fmt::format("{:.1f}", old), fmt::format("{:.1f}", now)});
  }

  void compare_states() {
    std::map<std::string, const analysis*> old;
    for (const analysis& each : before_) old[base_name(each)] = &each;
    for (const analysis& each : now_) {
      const auto found = old.find(base_name(each));
      if (found == old.end() || found->second->verdict.is_served() == each.verdict.is_served())
        continue;
      add(!each.verdict.is_served(),
          {base_name(each), "state", state_words(found->second->verdict.state),
           state_words(each.verdict.state)});
    }
  }

  std::span<const analysis> before_;
  std::span<const analysis> now_;
  tolerance limits_;
  baseline_comparison result_;
};

kovax::json list_of(const std::vector<change>& changes) {
  kovax::json result = kovax::json::array();
  for (const change& each : changes) {
    result.push_back({{"subject", each.subject},
                      {"measure", each.measure},
                      {"before", each.before},
                      {"now", each.now}});
  }
  return result;
}

}  // namespace

std::string change::text() const {
  return fmt::format("{}, {}: {} before, {} now", subject, measure, before, now);
}

baseline_comparison compare(std::span<const analysis> before, std::span<const analysis> now,
                            const tolerance& limits) {
  return comparer(before, now, limits).run();
}

kovax::json to_json(const baseline_comparison& comparison) {
  return {{"worse", list_of(comparison.worse)}, {"better", list_of(comparison.better)}};
}

}  // namespace veltra::report
