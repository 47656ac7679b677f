#include "host/run/run.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "host/console.h"
#include "host/database/database_failure.h"
#include "host/run/active_run.h"
#include "host/run/plugin_failure.h"
#include "host/run/plugin_parameters.h"
#include "host/run/run_provenance.h"
#include "host/source/source_events.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::chrono::milliseconds tick_interval{100};
// A port that is there and cannot be opened is tried again after this time.
constexpr std::chrono::milliseconds retry_interval{1000};

utc_time host_time() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<utc_time>(std::chrono::nanoseconds(now).count());
}

capture_clock clock_for(const input& input, const run_options& options) {
  if (!options.recorded_times.empty()) return capture_clock(options.recorded_times);
  return capture_clock(times_of(input, options));
}

}  // namespace

active_run::active_run(const input& input, const run_options& options, const run_sinks& sinks,
                       display& display, run_group& group)
    : input_(input),
      options_(options),
      sinks_(sinks),
      display_(display),
      group_(group),
      plugin_(platform::path_from_utf8(options.plugin)),
      session_(plugin_, *this),
      lanes_([this](const std::string& text) { note(text); }),
      ticker_(tick_interval, [this](steady::time_point now) { tick(now); }),
      rotation_(options.recording.rotation, sinks.raw_trace != nullptr),
      times_(clock_for(input, options), sinks.capture != nullptr),
      service_(group.service) {}

exit_code active_run::course() {
  open_session();
  begin_sinks();
  // Until all is written: a second Ctrl-C must not cost what the first one kept.
  const interrupt_relay::subscription requests(group_.interrupts, [this] { interrupt(); });
  std::optional<platform::interrupt_watch> watch;
  if (!group_.is_watched) watch.emplace([this] { group_.interrupts.request(); });
  return conclude(read());
}

void active_run::open_session() {
  is_alive_ = is_stop_requested_ = false;
  has_decoding_stopped_ = false;
  decoding_failure_.reset();
  const source_failure failure = session_.open(plugin_parameters(input_, options_, is_read_meanwhile()));
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
  if (sinks_.capture != nullptr) {
    sinks_.capture->set_provenance(describe_run(input_, plugin_, options_));
  }
  const delivery queued = input_.is_live() ? delivery::dropping : delivery::waiting;
  // First the one that depends on nobody.
  if (sinks_.raw_trace != nullptr) {
    sinks_.raw_trace->begin();
    raw_trace_ =
        &lanes_.add(*sinks_.raw_trace, sinks_.raw_trace->is_stream() ? queued : delivery::direct);
    if (!options_.recording.is_series() && !sinks_.raw_file.empty()) {
      times_.begin_file(sinks_.raw_file);
    }
  }
  if (sinks_.capture != nullptr) {
    sinks_.capture->begin();
    capture_ = &lanes_.add(*sinks_.capture, queued);
  }
  if (sinks_.key_log != nullptr) {
    sinks_.key_log->begin();
    key_log_ = &lanes_.add(*sinks_.key_log, queued);
  }
}

source_failure active_run::read() {
  begin_ = steady::now();
  lanes_.start();
  ticker_.start();
  source_failure failure = run_session();
  while (options_.recording.reconnects && !thrown_ && input_.may_come_back(failure) &&
         reconnect(failure)) {
    failure = run_session();
  }
  lanes_.finish();
  ticker_.stop();
  service_.end();
  display_.end();
  return failure;
}

source_failure active_run::run_session() {
  has_started_ = true;
  source_failure failure;
  try {
    failure = session_.run();
  } catch (...) {
    thrown_ = std::current_exception();
  }
  has_started_ = false;
  opening_ticks_ = -1;
  return failure;
}

// Waits until the input is there again, and opens it; false if the run ends meanwhile.
bool active_run::reconnect(const source_failure& failure) {
  const auto wait_for = [this](std::chrono::milliseconds time) {
    std::unique_lock lock(end_mutex_);
    end_changed_.wait_for(lock, time, [this] { return is_ending(); });
  };
  if (is_ending()) return false;
  session_.close();
  end_piece_at_loss();
  is_waiting_ = true;
  note_waiting(failure);
  // One that is there and was refused is in use, or not set up yet.
  if (failure.kind() != failure_kind::port_lost && input_.is_there()) wait_for(retry_interval);
  while (!is_ending()) {
    if (!input_.is_there()) {
      wait_for(tick_interval);
      continue;
    }
    try {
      open_session();
      return !is_ending();
    } catch (const user_error& error) {
      const std::string text = error.what();
      if (notes_.insert(text).second) note(text + " Trying again.");
      wait_for(retry_interval);
    }
  }
  return false;
}

void active_run::end_piece_at_loss() {
  const std::lock_guard lock(delivery_mutex_);
  rotation_.cut();
  lanes_.push(boundary{});
  if (statistics_.raw_bytes() != 0) gaps_.lose(steady::now());
}

// Once for each reason, until the port has been open.
void active_run::note_waiting(const source_failure& failure) {
  if (failure.kind() == failure_kind::port_lost) waits_noted_.clear();
  if (!waits_noted_.insert(failure.message).second) return;
  note(fmt::format("{} {} ({}); waiting for it.", input_.name(),
                   failure.kind() == failure_kind::port_lost ? "was lost" : "cannot be opened",
                   sanitize(failure.message)));
}

bool active_run::is_ending() const {
  return is_interrupted_ || is_at_limit_ || !is_any_outlet_open() || has_reader_ended_run();
}

void active_run::on_packet(const packet& packet) {
  take_sign_of_life();
  std::unique_lock lock(delivery_mutex_, std::defer_lock);
  if (does_ticker_deliver()) lock.lock();
  is_waiting_.store(false, std::memory_order_relaxed);
  if (!is_for_files(packet)) return;
  statistics_.add(packet);
  if (is_raw(packet)) match_.take(payload_text(packet));
  host::packet placed = packet;
  place_in_time(placed);
  note_time(placed);
  lanes_.push(placed);
  display_.take_packet(packet);
  const file_limits& end = options_.recording.end;
  if (end.packets && statistics_.decoded_packets() >= *end.packets) end_at_limit();
  if (end.bytes && std::max(statistics_.raw_bytes(),
                            capture_ != nullptr ? capture_->target().bytes() : 0) >= *end.bytes) {
    end_at_limit();
  }
}

void active_run::place_in_time(packet& packet) {
  // A file came at another time.
  const utc_time now = input_.is_live() ? host_time() : 0;
  const std::error_code error = times_.place(packet, now, statistics_);
  if (!error) return;
  note(
      fmt::format("{} cannot be written ({}): a later decode of the raw trace will not know when "
                  "it was recorded.",
                  platform::path_to_utf8(times_.sidecar_file()), error.message()));
}

// A report of losses has the time of the packet before it, or none.
void active_run::note_time(const packet& packet) {
  if (is_raw(packet) || dropped_traces(packet)) return;
  const utc_time time = packet.time + packet.time_offset;
  if (!report_.first_time) report_.first_time = time;
  report_.last_time = std::max(report_.last_time.value_or(0), time);
}

// Begins a piece where one is due. False for a packet beyond the run's end.
bool active_run::is_for_files(const packet& packet) {
  const file_limits& end = options_.recording.end;
  if (is_past_last_piece_) return false;
  if (!is_raw(packet) && end.packets && statistics_.decoded_packets() >= *end.packets) return false;
  if (sinks_.keeper == nullptr) return true;
  const std::optional<piece> next = rotation_.before(packet, moment(steady::now()));
  if (!next) return true;
  if (end.files && next->number > *end.files) {
    is_past_last_piece_ = true;
    end_at_limit();
    return false;
  }
  sinks_.keeper->begin(*next);
  if (options_.recording.is_series() && !sinks_.raw_file.empty()) {
    times_.begin_file(piece_path(sinks_.raw_file, *next));
  }
  lanes_.push(boundary{next, gaps_.take(input_.name(), steady::now())});
  gap_count_ = gaps_.count();
  return true;
}

rotation_moment active_run::moment(steady::time_point now) const {
  return {now, std::chrono::system_clock::now(),
          capture_ != nullptr ? capture_->target().piece_bytes(rotation_.number()) : 0};
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
  } else if (event.kind == event_kind::decoder_counted) {
    statistics_.take_decoder_counts(event.detail);
  } else if (event.is_failure && !options_.verbose) {
    note_failure(event);
  }
  if (event.kind == event_kind::port_opening) opening_ticks_ = 0;
  display_.take_event(event);
}

// A stop before the start has no effect on it.
void active_run::take_sign_of_life() {
  if (is_alive_ || is_alive_.exchange(true)) return;
  if (is_interrupted_ || is_at_limit_) request_stop();
}

// Any thread.
void active_run::end_at_limit() {
  if (is_at_limit_.exchange(true)) return;
  end_changed_.notify_all();
  if (is_alive_) request_stop();
}

void active_run::request_stop() {
  if (is_stop_requested_.exchange(true)) return;
  session_.stop();
  input_.end_early();
}

// On the thread that watches for Ctrl-C.
void active_run::interrupt() {
  is_interrupted_ = true;
  end_changed_.notify_all();
  lanes_.limit_writes();
  input_.end_early();
  if (interrupts_++ != 0) {
    session_.stop();  // at once
  } else if (is_alive_) {
    request_stop();
  }
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

bool active_run::is_read_meanwhile() const {
  for (const sink* const each :
       std::initializer_list<const sink*>{sinks_.raw_trace, sinks_.capture, sinks_.key_log}) {
    if (each != nullptr && each->is_stream()) return true;
  }
  return false;
}

// Pieces that end in silence, and syncs. A lock that nobody else takes costs a tenth of a
// packet's way.
bool active_run::does_ticker_deliver() const {
  return sinks_.keeper != nullptr || options_.recording.sync_interval;
}

// Whether there is an output that may still get something.
bool active_run::is_any_outlet_open() const {
  const bool is_decoded = capture_ != nullptr && !has_decoding_stopped_;
  return (is_decoded && !capture_->has_failed()) ||
         (raw_trace_ != nullptr && !raw_trace_->has_failed());
}

bool active_run::has_reader_ended_run() const {
  return options_.reader == reader_role::ends_run && capture_ != nullptr && capture_->has_failed();
}

// Whether the reader ends the output by leaving, so that this is not a failure.
bool active_run::may_reader_leave(const outlet& output) const {
  return options_.reader != reader_role::reads && &output == capture_ &&
         sinks_.capture->is_stream();
}

exit_code run(const input& input, const run_options& options, const run_sinks& sinks,
              display& display) {
  run_group alone(1, false);
  return run(input, options, sinks, display, alone);
}

exit_code run(const input& input, const run_options& options, const run_sinks& sinks,
              display& display, run_group& group) {
  return active_run(input, options, sinks, display, group).course();
}

}  // namespace veltra::host
