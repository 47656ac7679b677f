// batch_display.h - what a person sees of a batch.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "host/batch/batch.h"

namespace veltra::host {

// How far a batch is.
struct batch_progress {
  std::size_t traces = 0;  // in all
  std::uint64_t bytes = 0;
  std::size_t done_traces = 0;
  std::uint64_t done_bytes = 0;
  std::size_t failed = 0;
};

// "[####----]  12 of 40 traces, 1 failed  35.0 MB/s  3 min left".
std::string format_batch_progress(const batch_progress& progress,
                                  std::chrono::duration<double> elapsed);

// On a terminal one bar for all, and the failures above it; otherwise a line for each trace. One
// thread at a time.
class batch_display {
 public:
  struct settings {
    std::FILE* terminal = nullptr;  // null: lines
    bool is_quiet = false;          // only failures and notes
  };

  batch_display(settings how, const std::vector<listed_trace>& traces);

  void show(const listed_trace& trace, const batch_result& result);

  // Takes the bar away and shows what came of it all; `skipped`: traces that were not decoded
  // because they had been before.
  void end(std::size_t skipped);

 private:
  using steady = std::chrono::steady_clock;

  void draw(std::string_view text);
  std::chrono::duration<double> elapsed() const { return steady::now() - begin_; }

  const settings settings_;
  const steady::time_point begin_ = steady::now();
  batch_progress progress_;
};

}  // namespace veltra::host
