#include <algorithm>
#include <chrono>
#include <filesystem>
#include <mutex>

#include "host/run/active_run.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

using steady = std::chrono::steady_clock;

// What a modem had sent when Ctrl-C came is delivered for this long.
constexpr std::chrono::seconds max_draining{2};
// A port whose opening has not failed for so long is open: the plug-in does not report it.
constexpr int ticks_to_open = 3;

}  // namespace

// On the ticker's thread.
void active_run::tick(steady::time_point now) {
  lanes_.watch(now, [this] { return is_any_outlet_open(); });
  if (!is_any_outlet_open() || has_reader_ended_run()) request_stop();
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
  if (sinks_.keeper == nullptr) return;
  const std::unique_lock lock(delivery_mutex_, std::try_to_lock);
  // A packet under way will see it as well.
  if (lock && rotation_.ends(moment(now))) lanes_.push(boundary{});
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

}  // namespace veltra::host
