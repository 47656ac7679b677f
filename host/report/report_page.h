// report_page.h - a report as one HTML page that needs no network.
#pragma once

#include <span>
#include <string>

#include "host/report/analysis.h"
#include "host/report/baseline.h"

namespace veltra::report {

// The page of one capture. `comparison` is null without a baseline.
std::string report_page(const analysis& all, const baseline_comparison* comparison);

// The page of several, one row each.
std::string comparison_page(std::span<const analysis> captures,
                            const baseline_comparison* comparison);

}  // namespace veltra::report
