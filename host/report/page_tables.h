// page_tables.h - the tables of a report's page. Each function gives a section as HTML, empty if
// there is nothing to show.
#pragma once

#include <cstdint>
#include <string>

#include "host/report/analysis.h"

namespace veltra::report {

// A link to a message: selects it in the ladder.
std::string moment_link(const analysis& all, std::uint32_t frame, std::uint64_t time);

// Where the attach that succeeded last spends its time, and the longest waits of the trace.
std::string phases_section(const analysis& all);

std::string procedures_section(const analysis& all);
std::string commands_section(const analysis& all);
std::string traffic_section(const analysis& all);
std::string cells_section(const analysis& all);

}  // namespace veltra::report
