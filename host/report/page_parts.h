// page_parts.h - pieces that the pages of one capture and of several are made of.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/report/analysis.h"
#include "host/report/baseline.h"
#include "host/report/indicators.h"

namespace veltra::report {

// `pattern` with values in the place of each "{{name}}". One pass, so that a value cannot name
// another.
std::string fill(std::string_view pattern,
                 const std::vector<std::pair<std::string_view, std::string_view>>& values);

// A whole page: `title` and `body` (HTML), `data` (elements that scripts read, HTML) and the
// script. The script runs only as it is here: the page's policy names its digest.
std::string assemble_page(std::string_view title, std::string_view body, std::string_view data,
                          std::string_view script);

// The sign in front of a headline: a check mark, a cross or a dash. Empty for no state.
std::string state_sign(registration state);

// A table of indicators; empty without one.
std::string indicator_table(std::span<const indicator> indicators);

// What became worse and what better; empty without a baseline.
std::string baseline_section(const baseline_comparison* comparison);

// The last part of a path in either system's form.
std::string file_name(const std::string& path);

// "1 message", "2 messages".
std::string counted(std::uint64_t count, std::string_view noun);

// "5.7 kB"
std::string bytes_text(std::uint64_t bytes);

// How the report was made, and what it lacks.
std::string page_footer(const dissection& by);

}  // namespace veltra::report
