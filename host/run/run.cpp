#include "host/run/run.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/console.h"
#include "host/database/database_failure.h"
#include "host/database/database_match.h"
#include "host/display/summary.h"
#include "host/run/capture_clock.h"
#include "host/run/outlet.h"
#include "host/run/plugin_failure.h"
#include "host/run/run_provenance.h"
#include "host/run/sidecar.h"
#include "host/run/ticker.h"
#include "host/source/literal_path.h"
#include "host/source/plugin_library.h"
#include "host/source/source_events.h"
#include "host/source/source_session.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/interrupt.h"
#include "platform/message.h"

namespace veltra::host {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::chrono::milliseconds tick_interval{100};
// A reader that takes nothing for this long is reported.
constexpr std::chrono::seconds stall_before_note{5};
// What a modem had sent when Ctrl-C came is delivered for this long.
constexpr std::chrono::seconds max_draining{2};

std::string parameter_text(const input& input, const run_options& options) {
  kovax::json parameters = input.parameters();
  parameters["chunk_size"] = options.chunk_size;
  const database_options& database = options.database;
  if (!database.file.empty()) {
    parameters["db_file_path"] = literal_path(platform::path_from_utf8(database.file));
  } else if (!database.cache.empty()) {
    parameters["auto_detect_db_config"] = cache_parameters(database);
  }
  try {
    return parameters.dump();
  } catch (const kovax::json::type_error&) {
    throw user_error(exit_code::bad_input,
                     "a name on the command line is not UTF-8; the plug-in takes only names that "
                     "are.");
  }
}

std::string describe(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return error.what();
  }
}

utc_time host_time() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<utc_time>(std::chrono::nanoseconds(now).count());
}

capture_clock clock_for(const input& input, const run_options& options) {
  if (!options.recorded_times.empty()) return capture_clock(options.recorded_times);
  return capture_clock(times_of(input, options));
}

bool has_undelivered(const source_failure& failure) {
  const auto undelivered = parse_undelivered(failure.message);
  return undelivered && *undelivered != undelivered_data{};
}

// An outlet, and whether the ticker has shown that it failed.
struct lane {
  template <typename... Arguments>
  explicit lane(Arguments&&... arguments) : to(std::forward<Arguments>(arguments)...) {}

  outlet to;
  bool is_failure_noted = false;
};

std::string_view bytes_of(const packet& packet) {
  return {reinterpret_cast<const char*>(packet.payload.data()), packet.payload.size()};
}

// As main() does it for the failure that ends the program.
void report(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    tell(fmt::format("veltra: {}\n", sanitize(platform::utf8_message(error.what()))));
  }
}

class active_run : public source_listener {
 public:
  active_run(const input& input, const run_options& options, const run_sinks& sinks,
             display& display);

  exit_code course();

  // On the thread of the plug-in's start.
  void on_packet(const packet& packet) override;
  void on_message(std::int32_t level, std::string_view message) override;

 private:
  void init();
  void begin_sinks();
  source_failure read();
  void interrupt();
  void tick(steady::time_point now);
  void watch_lane(lane& lane, steady::time_point now);

  void keep_anchor(const clock_anchor& anchor);
  void take_sign_of_life();
  void request_stop();
  void note(const std::string& text);
  void note_failure(const source_event& event);
  void stop_decoding(std::string_view reason);
  bool is_any_outlet_open() const;
  bool has_reader_ended_run() const;
  bool may_reader_leave(const outlet& output) const;

  exit_code conclude(source_failure failure);
  bool finish_sink(outlet& from);
  void summarise_capture();
  void note_mismatch();
  void summarise_raw_trace() const;
  user_error explain(const source_failure& failure, bool is_kept) const;
  user_error explain_nothing() const;

  const input& input_;
  const run_options& options_;
  const run_sinks& sinks_;
  display& display_;
  const std::thread::id thread_ = std::this_thread::get_id();
  const plugin_library plugin_;
  source_session session_;
  std::deque<lane> lanes_;
  outlet* capture_ = nullptr;    // in one of lanes_; null: none
  outlet* raw_trace_ = nullptr;  // likewise
  ticker ticker_;
  steady::time_point begin_{};

  // The run's thread.
  run_statistics statistics_;
  database_match match_;
  capture_clock clock_;
  std::optional<sidecar_writer> sidecar_;
  database_events database_events_;
  std::set<std::string> notes_;  // each is shown once
  std::optional<source_failure> decoding_failure_;
  bool has_started_ = false;
  std::exception_ptr thrown_;                 // by a callback
  std::vector<std::exception_ptr> failures_;  // of the run and its sinks

  std::atomic<bool> has_decoding_stopped_ = false;
  std::atomic<bool> is_alive_ = false;  // the plug-in has called since its start
  std::atomic<bool> is_stop_requested_ = false;
  std::atomic<bool> is_interrupted_ = false;
  std::optional<steady::time_point> interrupted_at_;  // as the ticker saw it
  std::atomic<int> interrupts_ = 0;
};

active_run::active_run(const input& input, const run_options& options, const run_sinks& sinks,
                       display& display)
    : input_(input),
      options_(options),
      sinks_(sinks),
      display_(display),
      plugin_(platform::path_from_utf8(options.plugin)),
      session_(plugin_, *this),
      ticker_(tick_interval, [this](steady::time_point now) { tick(now); }),
      clock_(clock_for(input, options)) {}

exit_code active_run::course() {
  init();
  begin_sinks();
  // Until all is written: a second Ctrl-C must not cost what the first one kept.
  const platform::interrupt_watch watch([this] { interrupt(); });
  return conclude(read());
}

void active_run::init() {
  const source_failure failure = session_.init(parameter_text(input_, options_));
  const database_options& database = options_.database;
  if (failure) {
    if (database.file.empty()) {
      if (auto known =
              explain_sync_failure(failure.kind(), failure.message, database, database_events_)) {
        throw *known;
      }
    }
    throw explain_init_failure(failure, input_.name(), database);
  }
  if (auto known = explain_empty_cache(database, database_events_)) throw *known;
}

void active_run::begin_sinks() {
  if (sinks_.capture != nullptr)
    sinks_.capture->set_provenance(describe_run(input_, plugin_, options_));
  const delivery queued = input_.is_live() ? delivery::dropping : delivery::waiting;
  // First the one that depends on nobody.
  if (sinks_.raw_trace != nullptr) {
    sinks_.raw_trace->begin();
    raw_trace_ = &lanes_
                      .emplace_back(*sinks_.raw_trace,
                                    sinks_.raw_trace->is_stream() ? queued : delivery::direct)
                      .to;
    if (!sinks_.raw_trace->is_stream()) sidecar_.emplace(sidecar_path(sinks_.raw_trace->path()));
  }
  if (sinks_.capture != nullptr) {
    sinks_.capture->begin();
    capture_ = &lanes_.emplace_back(*sinks_.capture, queued).to;
  }
}

source_failure active_run::read() {
  begin_ = steady::now();
  for (lane& each : lanes_) each.to.start();
  ticker_.start();
  source_failure failure;
  has_started_ = true;
  try {
    failure = session_.run();
  } catch (...) {
    thrown_ = std::current_exception();
  }
  for (lane& each : lanes_) each.to.finish();
  ticker_.stop();
  display_.end();
  return failure;
}

void active_run::on_packet(const packet& packet) {
  take_sign_of_life();
  const bool is_first_raw = is_raw(packet) && statistics_.raw_bytes() == 0;
  statistics_.add(packet);
  if (is_raw(packet)) match_.take(bytes_of(packet));
  host::packet placed = packet;
  const utc_time now = host_time();
  auto anchor = clock_.place(placed, now, statistics_.raw_bytes());
  if (is_first_raw && sidecar_) {
    sidecar_->begin();
    // Without a decoder there is no message whose time is known on both clocks.
    if (capture_ == nullptr) anchor = clock_.anchor_of_arrival(now);
  }
  if (anchor && sidecar_) keep_anchor(*anchor);
  for (lane& each : lanes_) each.to.push(placed);
  display_.take_packet(packet);
}

void active_run::keep_anchor(const clock_anchor& anchor) {
  const std::error_code error = sidecar_->add(anchor, statistics_.database_uuid());
  if (!error) return;
  note(
      fmt::format("{} cannot be written ({}): a later decode of the raw trace will not know when "
                  "it was recorded.",
                  platform::path_to_utf8(sidecar_->path()), error.message()));
}

void active_run::on_message(std::int32_t level, std::string_view message) {
  if (options_.verbose) display_.show_lines(fmt::format("[{}] {}\n", level, sanitize(message)));
  // The thread that stops a run hears of it, which concerns nobody else.
  if (std::this_thread::get_id() != thread_) return;
  if (has_started_) take_sign_of_life();
  const source_event event = parse_event(level, message);
  database_events_.take(event);
  if (event.kind == event_kind::decoding_stopped) {
    stop_decoding(event.detail);
  } else if (event.is_failure && !options_.verbose) {
    note_failure(event);
  }
  display_.take_event(event);
}

// A stop before the start has no effect on it.
void active_run::take_sign_of_life() {
  if (!is_alive_.exchange(true) && is_interrupted_) request_stop();
}

void active_run::request_stop() {
  if (!is_stop_requested_.exchange(true)) session_.stop();
}

// On the thread that watches for Ctrl-C.
void active_run::interrupt() {
  is_interrupted_ = true;
  for (lane& each : lanes_) each.to.target().limit_writes();
  if (interrupts_++ != 0) {
    session_.stop();  // at once
  } else if (is_alive_) {
    request_stop();
  }
}

// On the ticker's thread.
void active_run::tick(steady::time_point now) {
  for (lane& each : lanes_) watch_lane(each, now);
  if (!is_any_outlet_open() || has_reader_ended_run()) request_stop();
  if (is_interrupted_ && !interrupted_at_) interrupted_at_ = now;
  if (interrupted_at_ && now - *interrupted_at_ > max_draining) {
    interrupted_at_ = steady::time_point::max();
    session_.stop();
  }
  display_.tick(now);
}

void active_run::note(const std::string& text) {
  display_.show_lines(fmt::format("veltra: note: {}\n", sanitize(text)));
}

// What the plug-in passed over must not go unseen: a catalogue that is not up to date must
// not pass for one that is. Each text once, and no more than a person reads.
void active_run::note_failure(const source_event& event) {
  constexpr std::size_t max_notes = 50;
  const std::string text = describe_nonfatal_failure(event, options_.database, database_events_);
  if (text.empty() || notes_.size() > max_notes || !notes_.insert(text).second) return;
  note(notes_.size() > max_notes ? "more failures; --verbose shows all messages." : text);
}

void active_run::stop_decoding(std::string_view reason) {
  decoding_failure_ = {KOVAX_RESULT_FAILED, std::string(reason)};
  has_decoding_stopped_ = true;
  if (is_any_outlet_open()) {
    note(fmt::format("decoding stopped ({}); the raw trace goes on.", sanitize(reason)));
  } else {
    request_stop();
  }
}

// Whether there is an output that may still get something.
bool active_run::is_any_outlet_open() const {
  return std::any_of(lanes_.begin(), lanes_.end(), [this](const lane& each) {
    return !each.to.has_failed() && !(has_decoding_stopped_ && &each.to == capture_);
  });
}

bool active_run::has_reader_ended_run() const {
  return options_.reader == reader_role::ends_run && capture_ != nullptr && capture_->has_failed();
}

// Whether the reader ends the output by leaving, so that this is not a failure.
bool active_run::may_reader_leave(const outlet& output) const {
  return options_.reader != reader_role::reads && &output == capture_ &&
         sinks_.capture->is_stream();
}

exit_code active_run::conclude(source_failure failure) {
  const bool is_live = input_.is_live();
  if (is_interrupted_) {
    // A stop ends the wait for a live input by design; only what it cost is a failure.
    if (is_live && !has_undelivered(failure)) failure = {};
  } else if (is_stop_requested_) {
    // The run's own stop. What led to it is the failure.
    failure = {};
  }
  if (!failure && decoding_failure_) failure = *decoding_failure_;
  const bool has_content =
      capture_ != nullptr ? statistics_.has_content() : statistics_.raw_bytes() != 0;
  const bool is_kept = has_content && (is_live || (!failure && !thrown_));

  if (thrown_) failures_.push_back(thrown_);
  if (failure) failures_.push_back(std::make_exception_ptr(explain(failure, is_kept)));
  for (const lane& each : lanes_) {
    if (each.to.failure() && !may_reader_leave(each.to)) failures_.push_back(each.to.failure());
  }
  if (capture_ != nullptr && is_kept && finish_sink(*capture_)) {
    summarise_capture();
    note_mismatch();
  }
  if (raw_trace_ != nullptr && finish_sink(*raw_trace_)) summarise_raw_trace();

  if (!failures_.empty()) {
    std::for_each(failures_.begin() + 1, failures_.end(), report);
    std::rethrow_exception(failures_.front());
  }
  if (!has_content) throw explain_nothing();
  return is_interrupted_ && !is_live ? exit_code::interrupted : exit_code::ok;
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
  display_.show_lines(
      format_summary(statistics_, {.output = capture_->target().name(),
                                   .stream_uuid = match_.stream_uuid(),
                                   .elapsed = steady::now() - begin_,
                                   .interrupted = is_interrupted_ && !input_.is_live(),
                                   .with_raw_packets = options_.output.raw_packets,
                                   .with_key_packets = options_.output.format != "pcapng",
                                   .remarks = remarks}));
}

void active_run::note_mismatch() {
  const auto mismatch = describe_mismatch(match_.stream_uuid(), statistics_.database_uuid());
  if (mismatch) note(*mismatch + "; check that the database belongs to the modem's firmware.");
}

void active_run::summarise_raw_trace() const {
  const std::uint64_t bytes = sinks_.raw_trace->bytes();
  if (bytes == 0) return;
  const std::string remarks = sinks_.raw_trace->remarks();
  display_.show_lines(fmt::format("{}: {} of raw trace{}{}\n", sanitize(sinks_.raw_trace->name()),
                                  format_bytes(static_cast<double>(bytes)),
                                  remarks.empty() ? "" : ", ", remarks));
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
    return {
        exit_code::interrupted,
        fmt::format("interrupted before {} gave a packet; no capture was written.", input_.name())};
  }
  return input_.explain_nothing(statistics_, options_.database);
}

void active_run::watch_lane(lane& lane, steady::time_point now) {
  outlet& to = lane.to;
  to.tick();
  if (to.has_failed()) {
    if (std::exchange(lane.is_failure_noted, true) || !is_any_outlet_open()) return;
    note(fmt::format("{} The rest of the run goes on without it.", describe(to.failure())));
    return;
  }
  if (to.has_stalled(now, stall_before_note)) {
    note(
        fmt::format("{} has taken nothing for {} seconds: the program that reads it may have "
                    "stopped reading. What it misses is counted.",
                    to.target().name(), stall_before_note.count()));
  }
}

}  // namespace

exit_code run(const input& input, const run_options& options, const run_sinks& sinks,
              display& display) {
  return active_run(input, options, sinks, display).course();
}

}  // namespace veltra::host
