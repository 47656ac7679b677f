// page_data.h - what the scripts of a report's page work on.
#pragma once

#include <string>

#include "host/report/analysis.h"

namespace veltra::report {

// JSON with one array a property of messages, so that 100,000 of them are small and quickly read;
// host/report/page/data.js reads it.
std::string page_data(const analysis& all);

// The bytes of all messages, one behind the other, as base64.
std::string page_bytes(const analysis& all);

}  // namespace veltra::report
