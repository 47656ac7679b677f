// explanation.h - what became of a trace, for people, for programs and in a sentence.
#pragma once

#include <string>

#include "diagnosis/trace_analysis.h"

namespace veltra::host {

// Reads the file `trace` with the database file `database`, both UTF-8 names. Throws
// user_error (bad_input) if one of them cannot be read or the plug-in would refuse it.
diagnosis::trace_analysis analyse_trace(const std::string& trace, const std::string& database);

// A table. Every line ends in LF.
std::string format_analysis(const std::string& trace, const std::string& database,
                            const diagnosis::trace_analysis& analysis);

// A JSON object; docs/command-line.md describes its members.
std::string format_analysis_json(const std::string& trace, const std::string& database,
                                 const diagnosis::trace_analysis& analysis);

// The same numbers in one sentence, without an empty trace's.
std::string summarise_analysis(const diagnosis::trace_analysis& analysis);

}  // namespace veltra::host
