// indicators.h - figures that sum many runs up: how many, how long, how often well.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/report/analysis.h"

namespace veltra::report {

// One thing that is done again and again. Durations are those of the runs that succeeded, in
// milliseconds, by nearest rank; runs that the trace does not show to their end count nowhere.
struct indicator {
  std::string name;   // stable, for programs: "attach", "at:AT+CFUN", "tls_handshake"
  std::string title;  // for people
  std::uint64_t count = 0;
  std::uint64_t succeeded = 0;
  std::optional<double> median_ms;
  std::optional<double> p95_ms;
  std::map<std::string, std::uint64_t> causes;  // of those that did not succeed

  double success_rate() const {
    return count == 0 ? 0 : static_cast<double>(succeeded) / static_cast<double>(count);
  }
};

// The indicators of one or of several captures together, in a fixed order; those without a run are
// left out.
std::vector<indicator> find_indicators(std::span<const analysis> captures);

// The value below which a share of them lies (0.5: the median), by nearest rank; nothing of none.
std::optional<double> percentile(std::vector<double> values, double share);

}  // namespace veltra::report
