#include "host/commands/summarised_run.h"

#include <fmt/format.h>

#include <exception>
#include <string_view>

#include "host/batch/summary_line.h"
#include "host/user_error.h"

namespace veltra::host {

namespace {

// A failure's line without the program's name.
run_ending ending_after(const std::exception_ptr& failure) {
  constexpr std::string_view start = "veltra: ";
  const failure_line line = describe_failure(failure);
  std::string reason = line.text;
  if (reason.starts_with(start)) reason.erase(0, start.size());
  while (reason.ends_with('\n')) reason.pop_back();
  return {line.code, reason};
}

}  // namespace

std::string describe_losses(const run_report& report) {
  std::string text;
  const auto add = [&text](std::uint64_t count, std::string_view thing) {
    if (count == 0) return;
    text += fmt::format("{}{} {}{}", text.empty() ? "" : ", ", count, thing, count == 1 ? "" : "s");
  };
  add(report.statistics.dropped_traces(), "dropped trace");
  add(report.statistics.damaged_frames(), "damaged frame");
  add(report.missed, "missed packet");
  add(report.gaps, "gap");
  return text;
}

exit_code summarise_run(const std::string& input, summary_file& summary, const run_report& report,
                        bool fails_on_loss, const std::function<exit_code()>& run) {
  run_ending ending;
  std::exception_ptr failure;
  try {
    ending.code = run();
    if (ending.code == exit_code::interrupted) ending.reason = "interrupted before its end";
    if (fails_on_loss && report.has_losses()) {
      throw user_error(exit_code::losses,
                       fmt::format("something was lost from {}: {}; the output is kept.", input,
                                   describe_losses(report)));
    }
  } catch (const std::exception&) {
    failure = std::current_exception();
    ending = ending_after(failure);
  }
  if (summary.is_wanted()) summary.write(format_summary_line(input, ending, report));
  if (failure) std::rethrow_exception(failure);
  return ending.code;
}

}  // namespace veltra::host
