// batch.h - many traces, several at a time.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/batch/trace_list.h"
#include "host/batch/worker_processes.h"
#include "host/exit_code.h"

namespace veltra::host {

// What became of one trace.
struct batch_result {
  exit_code code = exit_code::ok;
  std::string line;   // for programs: see summary_line.h
  std::string text;   // for a person: one line without LF
  std::string notes;  // for a person: whole lines
};

struct batch_work {
  unsigned jobs = 1;  // at a time, at least 1
  // Decodes a trace, on one of `jobs` threads; nothing if it was not decoded because of a stop.
  // What it throws ends the batch.
  std::function<std::optional<batch_result>(const listed_trace&)> decode;
  // Gets each result as it comes, on one thread at a time.
  std::function<void(const listed_trace&, const batch_result&)> report;
};

// Waits until every trace has been decoded. A failed trace costs no other. Returns ok, the code
// of the first trace in the list that failed, or interrupted if some were not decoded.
exit_code run_batch(const std::vector<listed_trace>& traces, const batch_work& work);

// What a worker that ran `veltra decode --summary -` on the trace reported, and what there is to
// say of one that could not.
batch_result read_worker(const listed_trace& trace, const worker_processes::ending& worker);

// A trace that failed before there was a worker for it.
batch_result failed_result(const listed_trace& trace, exit_code code, const std::string& reason);

}  // namespace veltra::host
