#include "host/capture/capture_run.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <utility>

#include "host/capture/capture_writer.h"
#include "host/capture/jsonl_writer.h"
#include "host/capture/plugin_library.h"
#include "host/capture/run_statistics.h"
#include "host/capture/source_parameters.h"
#include "host/capture/source_session.h"
#include "host/capture/summary.h"
#include "host/database/database_failure.h"
#include "host/output_file.h"
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

// What the plug-in tells is remembered, to explain a failure by it.
source_session::log_handler log_to(database_log& log, bool verbose) {
  return [&log, verbose](std::int32_t level, std::string_view message) {
    log.take(message);
    if (verbose) fmt::print(stderr, "[{}] {}\n", level, message);
  };
}

user_error explain_init(const source_failure& failure, const capture_request& request,
                        const database_log& log) {
  const database_options& database = request.options.database;
  if (database.file.empty()) {
    if (auto known = explain_sync_failure(failure.message, database, log)) return *known;
  }
  return explain_init_failure(failure, request.input, database);
}

user_error explain_run(const source_failure& failure, const capture_request& request,
                       const database_log& log, bool kept) {
  const database_options& database = request.options.database;
  if (database.file.empty()) {
    auto known = explain_search_failure(failure.message, request.input, database, log);
    if (known) return *known;
  }
  return explain_run_failure(failure, request.input, database, kept);
}

// The output of a run with the writer that fills it.
class capture_output {
 public:
  explicit capture_output(const output_options& options)
      : path_(platform::path_from_utf8(options.file)),
        file_(path_, options.format == "jsonl" ? output_file::access::sequential
                                               : output_file::access::random) {
    if (options.format == "jsonl") {
      writer_ = std::make_unique<jsonl_writer>(file_, options.raw_packets);
    } else {
      writer_ = std::make_unique<capture_writer>(file_);
    }
  }

  packet_consumer& writer() { return *writer_; }

  void commit() {
    writer_->finish();
    file_.commit();
  }

  std::string name() const {
    return path_ == "-" ? "standard output" : platform::path_to_utf8(path_);
  }

 private:
  std::filesystem::path path_;
  output_file file_;
  std::unique_ptr<packet_consumer> writer_;
};

}  // namespace

exit_code run_capture(capture_request request) {
  const plugin_library plugin(platform::path_from_utf8(request.options.plugin));
  database_log log;
  source_session session(plugin, log_to(log, request.options.verbose));
  if (const source_failure failure = session.init(parameter_text(request))) {
    throw explain_init(failure, request, log);
  }
  capture_output output(request.options.output);

  run_statistics statistics;
  std::atomic<bool> interrupted = false;
  source_failure failure;
  const auto begin = std::chrono::steady_clock::now();
  {
    const platform::interrupt_watch watch([&] {
      interrupted = true;
      session.stop();
    });
    failure = session.run([&](const packet& packet) {
      statistics.add(packet);
      output.writer().consume(packet);
      if (request.observe) request.observe(packet);
    });
  }
  request.observe = nullptr;  // takes its line off the terminal

  // A stop ends the wait for a live input by a failure, by design.
  if (request.live && interrupted) failure = {};
  const bool keep = statistics.decoded_packets() != 0 && (!failure || request.live);
  if (keep) {
    output.commit();
    fmt::print(stderr, "{}",
               format_summary(statistics, {.output = output.name(),
                                           .elapsed = std::chrono::steady_clock::now() - begin,
                                           .interrupted = interrupted && !request.live,
                                           .left_out = output.writer().left_out()}));
  }
  if (failure) throw explain_run(failure, request, log, keep);
  if (!keep) {
    if (interrupted) {
      throw user_error(exit_code::interrupted,
                       fmt::format("interrupted before {} gave a packet; no capture was written.",
                                   request.input));
    }
    throw explain_nothing_decoded(request.input, request.options.database,
                                  statistics.database_uuid(), statistics.raw_bytes());
  }
  return interrupted && !request.live ? exit_code::interrupted : exit_code::ok;
}

}  // namespace veltra::host
