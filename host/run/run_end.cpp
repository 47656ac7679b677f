#include <fmt/format.h>

#include <chrono>
#include <exception>
#include <string>

#include "host/console.h"
#include "host/database/database_failure.h"
#include "host/display/summary.h"
#include "host/run/active_run.h"
#include "host/run/plugin_failure.h"
#include "host/source/source_events.h"

namespace veltra::host {

namespace {

using steady = std::chrono::steady_clock;

bool has_undelivered(const source_failure& failure) {
  const auto undelivered = parse_undelivered(failure.message);
  return undelivered && *undelivered != undelivered_data{};
}

void append(std::string& remarks, const std::string& more) {
  if (!more.empty()) remarks += (remarks.empty() ? "" : ", ") + more;
}

}  // namespace

exit_code active_run::conclude(source_failure failure) {
  const bool is_live = input_.is_live();
  if (is_interrupted_ || is_at_limit_) {
    // A stop ends the wait for a live input by design; only what it cost is a failure.
    if (is_live && !has_undelivered(failure)) failure = {};
  } else if (is_stop_requested_) {
    // The run's own stop. What led to it is the failure.
    failure = {};
  }
  take_reading_failure(failure);
  if (!failure && decoding_failure_) failure = *decoding_failure_;
  const bool has_content =
      capture_ != nullptr ? statistics_.has_content() : statistics_.raw_bytes() != 0;
  const bool is_cut = options_.only_complete && is_interrupted_ && !is_live;
  const bool is_kept = has_content && (is_live || (!failure && !thrown_ && !is_cut));

  if (thrown_) failures_.push_back(thrown_);
  if (failure) failures_.push_back(std::make_exception_ptr(explain(failure, is_kept)));
  for (const outlet* const failed : lanes_.failed()) {
    if (!may_reader_leave(*failed)) failures_.push_back(failed->failure());
  }
  if (capture_ != nullptr && is_kept && finish_sink(*capture_)) {
    report_.output = capture_->target().name();
    summarise_capture();
    note_mismatch();
  }
  if (key_log_ != nullptr && is_kept && finish_sink(*key_log_)) summarise_key_log();
  if (raw_trace_ != nullptr && finish_sink(*raw_trace_)) {
    if (capture_ == nullptr) report_.output = raw_trace_->target().name();
    summarise_raw_trace();
  }

  fill_report();
  if (!failures_.empty()) {
    for (auto each = failures_.begin() + 1; each != failures_.end(); ++each) {
      display_.show_lines(describe_failure(*each).text);
    }
    std::rethrow_exception(failures_.front());
  }
  if (is_out_of_room_) throw explain_shortage();
  if (!has_content || is_cut) throw explain_nothing();
  return is_interrupted_ && !is_live ? exit_code::interrupted : exit_code::ok;
}

void active_run::fill_report() {
  if (sinks_.report == nullptr) return;
  report_.statistics = statistics_;
  report_.stream_uuid = match_.stream_uuid();
  if (outlet* const written = capture_ != nullptr ? capture_ : raw_trace_) {
    report_.packets = written->target().packets();
    report_.output_bytes = written->target().bytes();
  }
  for (const outlet* const each : {raw_trace_, capture_}) {
    if (each != nullptr) report_.missed += each->missed();
  }
  report_.gaps = gap_count_;
  report_.seconds = std::chrono::duration<double>(steady::now() - begin_).count();
  *sinks_.report = report_;
}

// Of a run that was stopped nobody knows how its input would have ended.
void active_run::take_reading_failure(source_failure& failure) {
  const bool has_met_end = !failure || failure.kind() == failure_kind::uuid_missing;
  if (!has_met_end || thrown_ || is_interrupted_ || is_stop_requested_) return;
  thrown_ = input_.reading_failure();
  if (thrown_) failure = {};
}

// Completes the output; returns whether there is one.
bool active_run::finish_sink(outlet& from) {
  try {
    if (from.failure()) std::rethrow_exception(from.failure());
    from.target().finish();
    return true;
  } catch (const user_error&) {
    if (!from.failure() && !may_reader_leave(from)) failures_.push_back(std::current_exception());
    // A live input does not come a second time.
    return input_.is_live() && from.target().salvage();
  }
}

void active_run::summarise_capture() {
  if (options_.quiet) return;
  std::string remarks = capture_->target().remarks();
  if (const std::uint64_t missed = capture_->missed()) {
    remarks += fmt::format("{}{} packet{} missed: the reader was too slow",
                           remarks.empty() ? "" : ", ", missed, missed == 1 ? "" : "s");
  }
  append(remarks, gaps_.describe());
  const bool has_keys = options_.output.format == "pcapng" && options_.output.packets.has_secrets();
  display_.show_lines(
      format_summary(statistics_, {.output = capture_->target().name(),
                                   .packets = capture_->target().packets(),
                                   .has_keys = has_keys,
                                   .stream_uuid = match_.stream_uuid(),
                                   .elapsed = steady::now() - begin_,
                                   .interrupted = is_interrupted_ && !input_.is_live(),
                                   .remarks = remarks}));
}

void active_run::note_mismatch() {
  const auto mismatch = describe_mismatch(match_.stream_uuid(), statistics_.database_uuid());
  if (mismatch) note(*mismatch + "; check that the database belongs to the modem's firmware.");
}

void active_run::summarise_raw_trace() const {
  const std::uint64_t bytes = sinks_.raw_trace->bytes();
  if (bytes == 0 || options_.quiet) return;
  std::string remarks = sinks_.raw_trace->remarks();
  if (capture_ == nullptr) append(remarks, gaps_.describe());
  display_.show_lines(fmt::format("{}: {} of raw trace{}{}\n", sanitize(sinks_.raw_trace->name()),
                                  format_bytes(static_cast<double>(bytes)),
                                  remarks.empty() ? "" : ", ", remarks));
}

void active_run::summarise_key_log() const {
  if (options_.quiet) return;
  display_.show_lines(fmt::format("{}: {} of TLS secrets\n", sanitize(sinks_.key_log->name()),
                                  format_bytes(static_cast<double>(sinks_.key_log->bytes()))));
}

user_error active_run::explain(const source_failure& failure, bool is_kept) const {
  const database_options& database = options_.database;
  const std::string_view remark = capture_ != nullptr ? capture_remark(is_kept) : "";
  if (auto known = input_.explain_failure(failure, remark)) return *known;
  if (database.file.empty()) {
    if (auto known = explain_search_failure(failure.kind(), failure.message, input_.name(),
                                            database, database_events_)) {
      return *known;
    }
  }
  return explain_run_failure(failure, input_.name(), database, is_kept);
}

user_error active_run::explain_nothing() const {
  if (is_interrupted_ && !input_.is_live()) {
    return {exit_code::interrupted,
            fmt::format("interrupted before {}; no capture was written.",
                        statistics_.has_content() ? "the end of " + input_.name()
                                                  : input_.name() + " gave a packet")};
  }
  return input_.explain_nothing(statistics_, options_.database);
}

user_error active_run::explain_shortage() const {
  return {
      exit_code::output_failed,
      fmt::format("{}; the capture ended, and what came before is kept. Free some space, or let "
                  "the oldest files be deleted with -b files:N.",
                  sinks_.keeper->describe_shortage())};
}

}  // namespace veltra::host
