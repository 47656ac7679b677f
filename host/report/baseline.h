// baseline.h - what became worse since earlier reports.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/report/analysis.h"
#include "implementation/json.h"

namespace veltra::report {

// One difference that is beyond the tolerance.
struct change {
  std::string subject;  // an indicator's title, or a capture's name
  std::string measure;  // "success rate", "median", "95th percentile", "cause", "state", …
  std::string before;
  std::string now;

  // "attach, median: 367 ms before, 812 ms now"
  std::string text() const;
};

struct baseline_comparison {
  std::vector<change> worse;
  std::vector<change> better;
};

// What counts as a difference.
struct tolerance {
  double duration_share = 0.2;          // of the duration before
  double min_duration_ms = 5;           // what is shorter is noise
  double success_points = 0.02;         // of the success rate
  std::uint64_t min_runs_for_p95 = 20;  // with fewer, the percentile is the slowest run
};

// The captures of every report in `directory`, files *.json as this program writes them, with
// what a comparison needs. Throws host::user_error (bad_input) if there is none, or one is
// damaged.
std::vector<analysis> read_reports(const std::filesystem::path& directory);

baseline_comparison compare(std::span<const analysis> before, std::span<const analysis> now,
                            const tolerance& limits = {});

kovax::json to_json(const baseline_comparison& comparison);

}  // namespace veltra::report
