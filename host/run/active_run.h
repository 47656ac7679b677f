// active_run.h - the state of a run, for the sources of run.h: run.cpp has its course,
// run_time.cpp what happens in time, run_end.cpp its end.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/database/database_events.h"
#include "host/database/database_match.h"
#include "host/run/gap_log.h"
#include "host/run/lanes.h"
#include "host/run/rotation.h"
#include "host/run/run.h"
#include "host/run/run_group.h"
#include "host/run/service_reports.h"
#include "host/run/session_slot.h"
#include "host/run/ticker.h"
#include "host/run/trace_times.h"
#include "host/source/plugin_library.h"
#include "host/source/run_statistics.h"
#include "host/source/source_session.h"
#include "host/user_error.h"

namespace veltra::host {

class active_run : public source_listener {
 public:
  active_run(const input& input, const run_options& options, const run_sinks& sinks,
             display& display, run_group& group);

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
  void tick(std::chrono::steady_clock::time_point now);
  void end_piece_in_time(std::chrono::steady_clock::time_point now);
  void end_in_time(std::chrono::steady_clock::time_point now);
  void sync_in_time(std::chrono::steady_clock::time_point now);
  void show_facts();

  void take_sign_of_life();
  void request_stop();
  void note(const std::string& text);
  void end_at_limit();
  rotation_moment moment(std::chrono::steady_clock::time_point now) const;
  bool is_for_files(const packet& packet);
  void place_in_time(packet& packet);
  void note_time(const packet& packet);
  void note_failure(const source_event& event);
  void stop_decoding(std::string_view reason);
  bool does_ticker_deliver() const;
  bool is_read_meanwhile() const;
  bool is_any_outlet_open() const;
  bool has_reader_ended_run() const;
  bool may_reader_leave(const outlet& output) const;

  exit_code conclude(source_failure failure);
  void take_reading_failure(source_failure& failure);
  bool finish_sink(outlet& from);
  void summarise_capture();
  void note_mismatch();
  void summarise_raw_trace() const;
  void summarise_key_log() const;
  void fill_report();
  user_error explain(const source_failure& failure, bool is_kept) const;
  user_error explain_nothing() const;
  user_error explain_shortage() const;

  const input& input_;
  const run_options& options_;
  const run_sinks& sinks_;
  display& display_;
  run_group& group_;
  const std::thread::id thread_ = std::this_thread::get_id();
  const plugin_library plugin_;
  session_slot session_;
  lanes lanes_;
  outlet* capture_ = nullptr;    // one of lanes_; null: none
  outlet* raw_trace_ = nullptr;  // likewise
  outlet* key_log_ = nullptr;    // likewise
  ticker ticker_;
  std::chrono::steady_clock::time_point begin_{};
  std::chrono::steady_clock::time_point next_look_for_room_{};  // the ticker's
  std::chrono::steady_clock::time_point last_sync_{};           // likewise

  // Taken for each packet of a recording, and by the ticker to end a piece in silence or to
  // sync the raw trace.
  std::mutex delivery_mutex_;
  rotation rotation_;

  // The run's thread.
  run_statistics statistics_;
  database_match match_;
  run_report report_;
  trace_times times_;
  database_events database_events_;
  std::set<std::string> notes_;  // each is shown once
  std::optional<source_failure> decoding_failure_;
  std::set<std::string> waits_noted_;
  gap_log gaps_;
  bool has_started_ = false;
  std::exception_ptr thrown_;                 // by a callback
  std::vector<std::exception_ptr> failures_;  // of the run and its sinks

  service_reports::member service_;           // the ticker's
  std::atomic<std::uint64_t> gap_count_ = 0;  // of gaps_
  std::atomic<bool> is_waiting_ = false;      // for the input
  std::atomic<int> opening_ticks_ = -1;       // since the port was about to be opened

  std::mutex end_mutex_;
  std::condition_variable end_changed_;
  std::atomic<bool> has_decoding_stopped_ = false;
  std::atomic<bool> is_alive_ = false;  // the plug-in has called since its start
  std::atomic<bool> is_stop_requested_ = false;
  std::atomic<bool> is_interrupted_ = false;
  std::atomic<bool> is_at_limit_ = false;  // of the options: the run is about to end
  std::atomic<bool> is_out_of_room_ = false;
  bool is_past_last_piece_ = false;  // guarded by delivery_mutex_
  std::optional<std::chrono::steady_clock::time_point> interrupted_at_;  // as the ticker saw it
  std::atomic<int> interrupts_ = 0;
};

}  // namespace veltra::host
