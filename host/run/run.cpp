#include "host/run/run.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "host/console.h"
#include "host/database/database_failure.h"
#include "host/display/summary.h"
#include "host/run/gap_log.h"
#include "host/run/lanes.h"
#include "host/run/plugin_failure.h"
#include "host/run/plugin_parameters.h"
#include "host/run/rotation.h"
#include "host/run/service_reports.h"
#include "host/run/session_slot.h"
#include "host/run/ticker.h"
#include "host/source/plugin_library.h"
#include "host/source/source_events.h"
#include "host/source/source_session.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::chrono::milliseconds tick_interval{100};
// A port whose opening has not failed for so long is open: the plug-in does not report it.
constexpr int ticks_to_open = 3;
// A port that is there and cannot be opened is tried again after this time.
constexpr std::chrono::milliseconds retry_interval{1000};
// What a modem had sent when Ctrl-C came is delivered for this long.
constexpr std::chrono::seconds max_draining{2};

bool has_undelivered(const source_failure& failure) {
  const auto undelivered = parse_undelivered(failure.message);
  return undelivered && *undelivered != undelivered_data{};
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
  void open_session();
  void begin_sinks();
  source_failure read();
  source_failure run_session();
  bool reconnect(const source_failure& failure);
  void end_piece_at_loss();
  void note_waiting(const source_failure& failure);
  bool is_ending() const;
  void interrupt();
  void tick(steady::time_point now);
  void end_piece_in_time(steady::time_point now);
  void end_in_time(steady::time_point now);
  void sync_in_time(steady::time_point now);
  void show_facts();

  void take_sign_of_life();
  void request_stop();
  void note(const std::string& text);
  void end_at_limit();
  rotation_moment moment(steady::time_point now) const;
  bool is_for_files(const packet& packet);
  void note_failure(const source_event& event);
  void stop_decoding(std::string_view reason);

  exit_code conclude(source_failure failure);
  bool finish_sink(outlet& from);
  void summarise_capture() const;
  void summarise_raw_trace() const;
  user_error explain(const source_failure& failure, bool is_kept) const;
  user_error explain_nothing() const;
  user_error explain_shortage() const;

  const input& input_;
  const run_options& options_;
  const run_sinks& sinks_;
  display& display_;
  const std::thread::id thread_ = std::this_thread::get_id();
  const plugin_library plugin_;
  session_slot session_;
  lanes lanes_;
  outlet* capture_ = nullptr;    // one of lanes_; null: none
  outlet* raw_trace_ = nullptr;  // likewise
  ticker ticker_;
  steady::time_point begin_{};
  steady::time_point next_look_for_room_{};  // the ticker's
  steady::time_point last_sync_{};           // likewise

  // Taken for each packet, and by the ticker to end a piece in silence.
  std::mutex delivery_mutex_;
  rotation rotation_;

  // The run's thread.
  run_statistics statistics_;
  database_events database_events_;
  std::set<std::string> notes_;  // each is shown once
  std::optional<source_failure> decoding_failure_;
  std::set<std::string> waits_noted_;
  service_reports service_;  // the ticker's
  gap_log gaps_;
  std::atomic<std::uint64_t> gap_count_ = 0;  // of gaps_
  std::atomic<bool> is_waiting_ = false;      // for the input
  std::atomic<int> opening_ticks_ = -1;       // since the port was about to be opened
  bool has_started_ = false;
  std::exception_ptr thrown_;  // by a callback
  std::exception_ptr sink_failure_;

  std::mutex end_mutex_;
  std::condition_variable end_changed_;
  std::atomic<bool> is_alive_ = false;  // the plug-in has called since its start
  std::atomic<bool> is_stop_requested_ = false;
  std::atomic<bool> is_interrupted_ = false;
  std::atomic<bool> is_at_limit_ = false;  // of the options: the run is about to end
  std::atomic<bool> is_out_of_room_ = false;
  bool is_past_last_piece_ = false;                   // guarded by delivery_mutex_
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
      lanes_([this](const std::string& text) { note(text); }),
      ticker_(tick_interval, [this](steady::time_point now) { tick(now); }),
      rotation_(options.recording.rotation, sinks.raw_trace != nullptr) {}

exit_code active_run::course() {
  open_session();
  begin_sinks();
  // Until all is written: a second Ctrl-C must not cost what the first one kept.
  const platform::interrupt_watch watch([this] { interrupt(); });
  return conclude(read());
}

void active_run::open_session() {
  is_alive_ = is_stop_requested_ = false;
  decoding_failure_.reset();
  const source_failure failure = session_.open(plugin_parameters(input_, options_));
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
  const delivery queued = input_.is_live() ? delivery::dropping : delivery::waiting;
  // First the one that depends on nobody.
  if (sinks_.raw_trace != nullptr) {
    sinks_.raw_trace->begin();
    raw_trace_ =
        &lanes_.add(*sinks_.raw_trace, sinks_.raw_trace->is_stream() ? queued : delivery::direct);
  }
  if (sinks_.capture != nullptr) {
    sinks_.capture->begin();
    capture_ = &lanes_.add(*sinks_.capture, queued);
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
  return is_interrupted_ || is_at_limit_ || !lanes_.is_any_open();
}

void active_run::on_packet(const packet& packet) {
  take_sign_of_life();
  const std::lock_guard lock(delivery_mutex_);
  is_waiting_ = false;
  if (!is_for_files(packet)) return;
  statistics_.add(packet);
  lanes_.push(packet);
  display_.take_packet(packet);
  const file_limits& end = options_.recording.end;
  if (end.packets && statistics_.decoded_packets() >= *end.packets) end_at_limit();
  if (end.bytes && std::max(statistics_.raw_bytes(),
                            capture_ != nullptr ? capture_->target().bytes() : 0) >= *end.bytes) {
    end_at_limit();
  }
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
  } else if (event.is_failure && !options_.verbose) {
    note_failure(event);
  }
  if (event.kind == event_kind::port_opening) opening_ticks_ = 0;
  display_.take_event(event);
}

// A stop before the start has no effect on it.
void active_run::take_sign_of_life() {
  if (!is_alive_.exchange(true) && (is_interrupted_ || is_at_limit_)) request_stop();
}

// Any thread.
void active_run::end_at_limit() {
  if (is_at_limit_.exchange(true)) return;
  end_changed_.notify_all();
  if (is_alive_) request_stop();
}

void active_run::request_stop() {
  if (!is_stop_requested_.exchange(true)) session_.stop();
}

// On the thread that watches for Ctrl-C.
void active_run::interrupt() {
  is_interrupted_ = true;
  end_changed_.notify_all();
  lanes_.limit_writes();
  if (interrupts_++ != 0) {
    session_.stop();  // at once
  } else if (is_alive_) {
    request_stop();
  }
}

// On the ticker's thread.
void active_run::tick(steady::time_point now) {
  lanes_.watch(now);
  if (!lanes_.is_any_open()) request_stop();
  end_piece_in_time(now);
  end_in_time(now);
  sync_in_time(now);
  if (is_interrupted_ && !interrupted_at_) interrupted_at_ = now;
  if (interrupted_at_ && now - *interrupted_at_ > max_draining) {
    interrupted_at_ = steady::time_point::max();
    session_.stop();
  }
  show_facts();
  if (opening_ticks_ >= 0) ++opening_ticks_;
  service_.tick(opening_ticks_ >= ticks_to_open, now);
  display_.tick(now);
}

void active_run::show_facts() {
  run_facts facts;
  facts.is_waiting = is_waiting_;
  facts.gaps = gap_count_;
  for (outlet* const each : {raw_trace_, capture_}) {
    if (each != nullptr) facts.missed += each->missed();
  }
  if (sinks_.keeper != nullptr) {
    for (const std::filesystem::path& file : sinks_.keeper->current_files()) {
      facts.files.push_back(platform::path_to_utf8(file));
    }
  }
  display_.take_facts(facts);
}

// A piece whose time is over is complete even if nothing more comes.
void active_run::end_piece_in_time(steady::time_point now) {
  const std::unique_lock lock(delivery_mutex_, std::try_to_lock);
  // A packet under way will see it as well.
  if (lock && sinks_.keeper != nullptr && rotation_.ends(moment(now))) lanes_.push(boundary{});
}

void active_run::end_in_time(steady::time_point now) {
  constexpr std::chrono::seconds interval{1};
  const file_limits& end = options_.recording.end;
  if (end.duration && now - begin_ >= *end.duration) end_at_limit();
  if (sinks_.keeper == nullptr || now < next_look_for_room_) return;
  next_look_for_room_ = now + interval;
  if (sinks_.keeper->make_room()) return;
  is_out_of_room_ = true;
  end_at_limit();
}

void active_run::sync_in_time(steady::time_point now) {
  const auto& interval = options_.recording.sync_interval;
  if (!interval || raw_trace_ == nullptr || now - last_sync_ < *interval) return;
  last_sync_ = now;
  // Packets wait meanwhile, in the plug-in's buffer.
  const std::lock_guard lock(delivery_mutex_);
  raw_trace_->sync();
}

void active_run::note(const std::string& text) {
  display_.show_lines(fmt::format("veltra: note: {}\n", text));
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
  if (raw_trace_ == nullptr) {
    request_stop();
  } else {
    note(fmt::format("decoding stopped ({}); the raw trace goes on.", sanitize(reason)));
  }
}

exit_code active_run::conclude(source_failure failure) {
  const bool is_live = input_.is_live();
  // A stop ends the wait for a live input by design; only what it cost is a failure.
  if (is_live && (is_interrupted_ || is_at_limit_) && !has_undelivered(failure)) failure = {};
  if (!failure && decoding_failure_) failure = *decoding_failure_;
  const bool has_content =
      capture_ != nullptr ? statistics_.has_content() : statistics_.raw_bytes() != 0;
  const bool is_kept = has_content && (is_live || (!failure && !thrown_));

  sink_failure_ = lanes_.failure();
  if (capture_ != nullptr && is_kept && finish_sink(*capture_)) summarise_capture();
  if (raw_trace_ != nullptr && finish_sink(*raw_trace_)) summarise_raw_trace();

  if (thrown_) std::rethrow_exception(thrown_);
  if (failure) throw explain(failure, is_kept);
  if (sink_failure_) std::rethrow_exception(sink_failure_);
  if (is_out_of_room_) throw explain_shortage();
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
    if (!sink_failure_) sink_failure_ = std::current_exception();
    // A live input does not come a second time.
    return input_.is_live() && from.target().salvage();
  }
}

void active_run::summarise_capture() const {
  std::string remarks = capture_->target().remarks();
  if (const std::uint64_t missed = capture_->missed()) {
    remarks += fmt::format("{}{} packet{} missed: the reader was too slow",
                           remarks.empty() ? "" : ", ", missed, missed == 1 ? "" : "s");
  }
  if (const std::string gaps = gaps_.describe(); !gaps.empty()) {
    remarks += (remarks.empty() ? "" : ", ") + gaps;
  }
  tell(format_summary(statistics_, {.output = capture_->target().name(),
                                    .elapsed = steady::now() - begin_,
                                    .interrupted = is_interrupted_ && !input_.is_live(),
                                    .remarks = remarks}));
}

void active_run::summarise_raw_trace() const {
  const std::uint64_t bytes = sinks_.raw_trace->bytes();
  if (bytes == 0) return;
  std::string remarks = sinks_.raw_trace->remarks();
  if (const std::string gaps = gaps_.describe(); !gaps.empty() && capture_ == nullptr) {
    remarks += (remarks.empty() ? "" : ", ") + gaps;
  }
  tell(fmt::format("{}: {} of raw trace{}{}\n", sinks_.raw_trace->name(),
                   format_bytes(static_cast<double>(bytes)), remarks.empty() ? "" : ", ", remarks));
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

user_error active_run::explain_shortage() const {
  return {
      exit_code::output_failed,
      fmt::format("{}; the capture ended, and what came before is kept. Free some space, or let "
                  "the oldest files be deleted with -b files:N.",
                  sinks_.keeper->describe_shortage())};
}

}  // namespace

exit_code run(const input& input, const run_options& options, const run_sinks& sinks,
              display& display) {
  return active_run(input, options, sinks, display).course();
}

}  // namespace veltra::host
