// report_json.h - a report as JSON, for programs. docs/report.md documents the names.
#pragma once

#include <span>
#include <string>

#include "host/report/analysis.h"
#include "host/report/baseline.h"
#include "host/report/indicators.h"
#include "implementation/json.h"

namespace veltra::report {

// The version of the format; grows when a name changes its meaning or goes.
inline constexpr int report_format = 1;

kovax::json to_json(const cause& why);
kovax::json to_json(const indicator& figures);
kovax::json to_json(const procedure& run);

// The whole report. `with_events` adds one object a message, of which a long trace has many;
// `comparison` is null without a baseline.
std::string report_json(std::span<const analysis> captures, bool with_events,
                        const baseline_comparison* comparison);

// JSON in UTF-8; what is not UTF-8 in it becomes U+FFFD.
std::string dump_json(const kovax::json& value, int indent = -1);

}  // namespace veltra::report
