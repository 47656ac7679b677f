#include "host/run/capture_run.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "host/output/capture_output.h"
#include "host/source/plugin_library.h"
#include "host/run/run_messages.h"
#include "host/source/run_statistics.h"
#include "host/run/plugin_failure.h"
#include "host/source/source_session.h"
#include "host/display/summary.h"
#include "host/console.h"
#include "host/database/database_failure.h"
#include "host/output/output_failure.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

std::string parameter_text(const capture_request& request) {
  kovax::json parameters = request.parameters;
  add_run_parameters(parameters, request.options);
  try {
    return parameters.dump();
  } catch (const kovax::json::type_error&) {
    throw user_error(exit_code::bad_input,
                     "a name on the command line is not UTF-8; the plug-in can only be told names "
                     "that are.");
  }
}

// Ends a run on Ctrl-C, however early it comes.
class run_end {
 public:
  // `hurry` makes sure that no reader that has stopped reading holds up the end.
  run_end(source_session& session, std::function<void()> hurry)
      : session_(session), hurry_(std::move(hurry)) {}

  // On the thread that watches for Ctrl-C.
  void interrupt() {
    interrupted_ = true;
    hurry_();
    session_.stop();
  }

  // On the run's thread, from within the run. A stop before the start has no effect
  // on it, so the first sign of life after one stops again.
  void repeat_early_stop() {
    if (!interrupted_ || std::exchange(repeated_, true)) return;
    session_.stop();
  }

  bool interrupted() const { return interrupted_; }

 private:
  source_session& session_;
  const std::function<void()> hurry_;
  std::atomic<bool> interrupted_ = false;
  bool repeated_ = false;
};

user_error explain_init(const source_failure& failure, const capture_request& request,
                        const database_events& events) {
  const database_options& database = request.options.database;
  if (database.file.empty()) {
    if (auto known = explain_sync_failure(failure.kind(), failure.message, database, events)) return *known;
  }
  return explain_init_failure(failure, request.input, database);
}

user_error explain_run(const source_failure& failure, const capture_request& request,
                       const database_events& events, bool kept) {
  const database_options& database = request.options.database;
  if (request.explain_failure) {
    if (auto known = request.explain_failure(failure, kept)) return *known;
  }
  if (database.file.empty()) {
    if (auto known = explain_search_failure(failure.kind(), failure.message, request.input,
                                            database, events)) {
      return *known;
    }
  }
  return explain_run_failure(failure, request.input, database, kept);
}

user_error explain_nothing(const capture_request& request, const run_statistics& statistics,
                           bool interrupted) {
  if (request.explain_nothing) return request.explain_nothing(statistics);
  if (interrupted) {
    return {
        exit_code::interrupted,
        fmt::format("interrupted before {} gave a packet; no capture was written.", request.input)};
  }
  return explain_nothing_decoded(request.input, request.options.database, statistics);
}

}  // namespace

exit_code run_capture(capture_request request) {
  const plugin_library plugin(platform::path_from_utf8(request.options.plugin));
  run_messages messages(request.options, [&request](std::string_view lines) {
    if (request.tell) {
      request.tell(lines);
    } else {
      tell(lines);
    }
  });
  std::function<void()> on_message;  // on the run's thread
  source_session session(plugin, [&](std::int32_t level, std::string_view message) {
    if (!messages.take(level, message)) return;
    if (request.observe_log) request.observe_log(message);
    if (on_message) on_message();
  });
  if (request.output_is_named && !request.options.output.file.empty()) {
    check_output_place("cannot write", platform::path_from_utf8(request.options.output.file));
  }
  if (const source_failure failure = session.init(parameter_text(request))) {
    messages.finish();
    throw explain_init(failure, request, messages.events());
  }
  if (auto known = explain_empty_cache(request.options.database, messages.events())) throw *known;
  std::unique_ptr<capture_output> output;  // null when there is nothing to write
  if (!request.options.output.file.empty()) {
    output = std::make_unique<capture_output>(request.options.output, request.live,
                                              [&session] { session.stop(); });
  }

  run_statistics statistics;
  run_end end(session, [&] {
    if (output) output->hurry();
    if (request.hurry) request.hurry();
  });
  const auto begin = std::chrono::steady_clock::now();
  const auto summarise = [&] {
    tell(format_summary(statistics, {.output = output->name(),
                                     .elapsed = std::chrono::steady_clock::now() - begin,
                                     .interrupted = end.interrupted() && !request.live,
                                     .remarks = output->remarks()}));
  };
  const auto keep_capture = [&] {
    if (!output) return;
    try {
      output->commit();
    } catch (const user_error&) {
      // A live input does not come a second time.
      if (request.live && output->rescue()) summarise();
      throw;
    }
    summarise();
  };
  const auto leave_terminal = [&] {
    request.observe = nullptr;
    request.observe_written = nullptr;
    request.observe_log = nullptr;
    request.tell = nullptr;
    messages.finish();
  };

  source_failure failure;
  // Until all is written: a second Ctrl-C must not cost what the first one kept.
  const platform::interrupt_watch watch([&] { end.interrupt(); });
  try {
    if (output) output->begin();
    on_message = [&] { end.repeat_early_stop(); };
    failure = session.run([&](const packet& packet) {
      end.repeat_early_stop();
      statistics.add(packet);
      if (request.observe) request.observe(packet);
      if (output) output->writer().consume(packet);
      if (request.observe_written) request.observe_written();
    });
    on_message = nullptr;
    // Throws what ended the run, if that was the output.
    if (output) output->writer().flush();
  } catch (...) {
    on_message = nullptr;
    leave_terminal();
    if (request.live && statistics.has_content()) keep_capture();
    throw;
  }
  leave_terminal();

  // A stop ends the wait for a live input by a failure, by design.
  if (request.live && end.interrupted()) failure = {};
  const bool something = statistics.has_content() || (!output && statistics.raw_bytes() != 0);
  const bool keep = something && (!failure || request.live);
  if (keep) keep_capture();
  if (failure) throw explain_run(failure, request, messages.events(), keep && output != nullptr);
  if (!keep) throw explain_nothing(request, statistics, end.interrupted());
  return end.interrupted() && !request.live ? exit_code::interrupted : exit_code::ok;
}

}  // namespace veltra::host
