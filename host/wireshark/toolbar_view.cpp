#include "host/wireshark/toolbar_view.h"

#include <chrono>
#include <utility>

namespace veltra::host {

namespace {

using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds state_interval{500};

}  // namespace

toolbar_view::toolbar_view(const std::string& port, const std::filesystem::path& pipe)
    : status_({.port = port, .with_counters = false, .how_to_end = "stop the capture to end it"}),
      toolbar_(pipe) {}

void toolbar_view::take_packet(const packet& packet) {
  const std::lock_guard lock(mutex_);
  status_.take(packet, clock::now());
}

void toolbar_view::take_event(const source_event& event) {
  const std::lock_guard lock(mutex_);
  if (event.kind == event_kind::port_opening) {
    status_.begin(clock::now());
    is_open_ = true;
  } else if (event.kind == event_kind::bytes_searched) {
    status_.take_searched(event.bytes);
  } else if (event.kind == event_kind::database_located) {
    status_.take_located();
  }
}

void toolbar_view::show_lines(std::string_view lines) {
  {
    const std::lock_guard lock(mutex_);
    if (!has_ended_) {
      lines_ += lines;
      return;
    }
  }
  toolbar_.log(lines);
}

void toolbar_view::tick(time_point now) {
  std::string lines;
  std::string state;
  {
    const std::lock_guard lock(mutex_);
    lines = std::exchange(lines_, {}) + status_.show(now);
    if (is_open_ && now >= next_state_) {
      state = status_.counters(now);
      next_state_ = now + state_interval;
    }
  }
  if (!lines.empty()) toolbar_.log(lines);
  if (!state.empty()) toolbar_.set_state(state);
}

void toolbar_view::end() {
  std::string lines;
  std::string state;
  {
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    lines = std::exchange(lines_, {});
    if (is_open_) state = status_.counters(clock::now());
  }
  if (!lines.empty()) toolbar_.log(lines);
  if (!state.empty()) toolbar_.set_state(state);
}

}  // namespace veltra::host
