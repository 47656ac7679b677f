// report_csv.h - a report as tables, for spreadsheets and scripts (RFC 4180, UTF-8, LF).
// docs/report.md documents the columns.
#pragma once

#include <span>
#include <string>

#include "host/report/analysis.h"

namespace veltra::report {

// One row a message.
std::string events_csv(std::span<const analysis> captures);

// One row a procedure.
std::string procedures_csv(std::span<const analysis> captures);

// One row an indicator of a capture, and below them those of all captures together, whose capture
// is empty.
std::string indicators_csv(std::span<const analysis> captures);

}  // namespace veltra::report
