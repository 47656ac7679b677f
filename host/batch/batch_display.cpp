#include "host/batch/batch_display.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/console.h"
#include "host/display/summary.h"

namespace veltra::host {

namespace {

constexpr std::size_t batch_bar_width = 30;

std::string format_left(double seconds) {
  constexpr double minute = 60;
  constexpr double hour = 60 * minute;
  if (seconds < 2 * minute) return fmt::format("{:.0f} s left", std::ceil(seconds));
  if (seconds < 2 * hour) return fmt::format("{:.0f} min left", std::ceil(seconds / minute));
  return fmt::format("{:.1f} h left", seconds / hour);
}

std::string format_speed(std::uint64_t bytes, std::chrono::duration<double> elapsed) {
  return format_bytes(static_cast<double>(bytes) / std::max(elapsed.count(), 1e-3)) + "/s";
}

}  // namespace

std::string format_batch_progress(const batch_progress& progress,
                                  std::chrono::duration<double> elapsed) {
  // By bytes; inputs without a size count by their number.
  const auto share = [](auto done, auto all) {
    return all == 0 ? 0 : static_cast<double>(done) / static_cast<double>(all);
  };
  const double part = progress.bytes != 0 ? share(progress.done_bytes, progress.bytes)
                                          : share(progress.done_traces, progress.traces);
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(batch_bar_width));
  std::string text = fmt::format("[{:#>{}}{:->{}}]  {} of {} traces", "", filled, "",
                                 batch_bar_width - filled, progress.done_traces, progress.traces);
  if (progress.failed != 0) text += fmt::format(", {} failed", progress.failed);
  if (part > 0) {
    text += fmt::format("  {}  {}", format_speed(progress.done_bytes, elapsed),
                        format_left(elapsed.count() * (1 - part) / part));
  }
  return text;
}

batch_display::batch_display(settings how, const std::vector<listed_trace>& traces)
    : settings_(how) {
  progress_.traces = traces.size();
  for (const listed_trace& each : traces) progress_.bytes += each.bytes;
  if (settings_.terminal != nullptr) draw(drawn_line(format_batch_progress(progress_, elapsed())));
}

void batch_display::show(const listed_trace& trace, const batch_result& result) {
  const bool is_failed = result.code != exit_code::ok;
  ++progress_.done_traces;
  progress_.done_bytes += trace.bytes;
  if (is_failed) ++progress_.failed;
  std::string lines = result.notes;
  if (is_failed || (settings_.terminal == nullptr && !settings_.is_quiet)) {
    lines += result.text + "\n";
  }
  if (settings_.terminal != nullptr) draw(wiped_line);
  if (!lines.empty()) print_message(lines);
  if (settings_.terminal != nullptr) draw(drawn_line(format_batch_progress(progress_, elapsed())));
}

void batch_display::end(std::size_t skipped) {
  if (settings_.terminal != nullptr) draw(wiped_line);
  if (settings_.is_quiet) return;
  std::string text = fmt::format("{} trace{} decoded", progress_.done_traces - progress_.failed,
                                 progress_.done_traces - progress_.failed == 1 ? "" : "s");
  if (progress_.failed != 0) text += fmt::format(", {} failed", progress_.failed);
  if (skipped != 0) text += fmt::format(", {} skipped", skipped);
  const std::size_t left = progress_.traces - progress_.done_traces;
  if (left != 0) text += fmt::format(", {} left", left);
  print_message(fmt::format("{}; {} in {:.2f} s, {}\n", text,
                            format_bytes(static_cast<double>(progress_.done_bytes)),
                            elapsed().count(), format_speed(progress_.done_bytes, elapsed())));
}

void batch_display::draw(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), settings_.terminal);
  std::fflush(settings_.terminal);
}

}  // namespace veltra::host
