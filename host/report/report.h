// report.h - `veltra report`: what happened in one or in several captures.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/exit_code.h"

namespace veltra::report {

enum class output_format { html, json, csv };

struct report_options {
  // Captures (pcapng) or, with `decode`, traces: one gives a report, several a comparison with a
  // row each, in this order.
  std::vector<std::filesystem::path> inputs;

  // "-" is standard output. CSV is three files: the events under this name, and beside it
  // NAME.procedures.csv and NAME.indicators.csv; on standard output the events alone.
  std::filesystem::path output;
  output_format format = output_format::html;

  // The tshark to run; empty: the one that is installed.
  std::string tshark;

  // A directory of earlier reports in JSON to compare with; empty: none.
  std::filesystem::path baseline;

  // Turns an input that is not a pcapng file into one: gets the trace and a name for the capture
  // in a directory of this run, which is removed afterwards. Throws host::user_error. Without it,
  // such an input is refused.
  std::function<void(const std::filesystem::path& trace, const std::filesystem::path& capture)>
      decode;

  // Gets notes and the summary for a person, whole lines. May be empty.
  std::function<void(std::string_view)> print;
};

// Makes the report. Returns ok, or worse if something became worse than in the baseline. Throws
// host::user_error: usage (no input; the output would replace an input), bad_input (an input or
// the baseline cannot be read), output_failed. Without tshark the report has layers only, and a
// note says so.
host::exit_code make_report(const report_options& options);

}  // namespace veltra::report
