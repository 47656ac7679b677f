#include "host/batch/batch.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>

#include "host/batch/summary_line.h"
#include "host/console.h"
#include "host/display/summary.h"
#include "implementation/json.h"

namespace veltra::host {

namespace {

constexpr std::string_view message_start = "veltra: ";
constexpr std::string_view note_start = "veltra: note: ";

std::vector<std::string_view> diagnostic_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t size = std::min(text.find('\n'), text.size());
    if (size != 0) lines.push_back(text.substr(0, size));
    text.remove_prefix(std::min(size + 1, text.size()));
  }
  return lines;
}

std::string format_count(std::uint64_t count, std::string_view thing) {
  return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

// The last words of a worker that did not get to its summary.
std::string last_words_of_worker(const worker_processes::ending& worker) {
  const std::vector<std::string_view> lines = diagnostic_lines(worker.end.diagnostics);
  if (!lines.empty() && !worker.end.killed) {
    std::string_view last = lines.back();
    if (last.starts_with(message_start)) last.remove_prefix(message_start.size());
    return std::string(last);
  }
  const std::string how = worker.end.killed ? fmt::format("its process was ended by signal {}",
                                                          worker.end.exit_code - 128)
                                            : "its process ended without a word";
  return lines.empty() ? how : fmt::format("{}: {}", how, lines.back());
}

// The reason often begins with the trace's name.
std::string describe_failed(const listed_trace& trace, const std::string& reason) {
  const bool is_named = reason.find(trace.input) != std::string::npos;
  return is_named ? fmt::format("veltra: {}", sanitize(reason))
                  : fmt::format("veltra: {}: {}", sanitize(trace.input), sanitize(reason));
}

std::string describe_decoded(const listed_trace& trace, const kovax::json& summary) {
  const auto number = [&summary](const char* name) { return summary.value(name, 0.0); };
  const auto count = [&](const char* name) { return static_cast<std::uint64_t>(number(name)); };
  std::string text = fmt::format(
      "{}: {}, {} from {}", sanitize(trace.input), sanitize(summary.value("output", "")),
      format_count(count("packets"), "packet"), format_bytes(number("trace_bytes")));
  if (const std::uint64_t dropped = count("dropped_traces")) {
    text += ", " + format_count(dropped, "dropped trace");
  }
  if (const std::uint64_t damaged = count("damaged_frames")) {
    text += ", " + format_count(damaged, "damaged frame");
  }
  return text + fmt::format(", {:.2f} s", number("seconds"));
}

}  // namespace

batch_result failed_result(const listed_trace& trace, exit_code code, const std::string& reason) {
  return {.code = code,
          .line = format_summary_line(trace.input, {code, reason}, {}),
          .text = describe_failed(trace, reason),
          .notes = {}};
}

batch_result read_worker(const listed_trace& trace, const worker_processes::ending& worker) {
  const auto code = static_cast<exit_code>(worker.end.exit_code);
  const auto summary = kovax::json::parse(worker.output, nullptr, false);
  if (!summary.is_object() || worker.end.killed) {
    const bool is_ok = code == exit_code::ok;
    return failed_result(trace, is_ok ? exit_code::internal : code, last_words_of_worker(worker));
  }
  const std::string reason = summary.value("reason", "");
  batch_result result{.code = code, .line = worker.output, .text = {}, .notes = {}};
  result.text =
      code == exit_code::ok ? describe_decoded(trace, summary) : describe_failed(trace, reason);
  for (const std::string_view line : diagnostic_lines(worker.end.diagnostics)) {
    if (!line.starts_with(note_start)) continue;
    result.notes += fmt::format("{}{}: {}\n", note_start, sanitize(trace.input),
                                sanitize(line.substr(note_start.size())));
  }
  return result;
}

exit_code run_batch(const std::vector<listed_trace>& traces, const batch_work& work) {
  std::vector<exit_code> codes(traces.size(), exit_code::interrupted);
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;  // guards the reports and what follows
  std::exception_ptr failure;
  const auto work_on = [&] {
    try {
      for (std::size_t i = next++; i < traces.size(); i = next++) {
        const std::optional<batch_result> result = work.decode(traces[i]);
        if (!result) return;
        const std::lock_guard lock(mutex);
        if (failure) return;
        codes[i] = result->code;
        work.report(traces[i], *result);
      }
    } catch (...) {
      next = traces.size();
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> threads;
    const std::size_t count = std::min<std::size_t>(work.jobs, traces.size());
    try {
      for (std::size_t i = 1; i < count; ++i) threads.emplace_back(work_on);
    } catch (const std::system_error&) {
      // Fewer threads do the same work.
    }
    work_on();
  }
  if (failure) std::rethrow_exception(failure);
  const auto is_interrupted = [](exit_code code) { return code == exit_code::interrupted; };
  if (std::any_of(codes.begin(), codes.end(), is_interrupted)) return exit_code::interrupted;
  const auto failed = std::find_if(codes.begin(), codes.end(),
                                   [](exit_code each) { return each != exit_code::ok; });
  return failed == codes.end() ? exit_code::ok : *failed;
}

}  // namespace veltra::host
