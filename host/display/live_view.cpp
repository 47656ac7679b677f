#include "host/display/live_view.h"

#include <chrono>
#include <cstdio>
#include <utility>

#include "host/console.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

using clock = std::chrono::steady_clock;

}  // namespace

live_view::live_view(live_status_options options, port_rows* rows, std::size_t row)
    : rows_(rows), row_(row), status_(std::move(options)) {
  if (rows_ != nullptr) rows_->set_text(row_, "not open yet");
}

void live_view::write(std::string_view text) {
  if (text.empty()) return;
  if (rows_ != nullptr) {
    rows_->show_lines(text);
  } else {
    print_message(text);
  }
}

void live_view::take_packet(const packet& packet) {
  const std::lock_guard lock(mutex_);
  status_.take(packet, clock::now());
}

void live_view::take_event(const source_event& event) {
  const std::lock_guard lock(mutex_);
  if (event.kind == event_kind::port_opening) {
    is_open_ = true;
    status_.begin(clock::now());
  } else if (event.kind == event_kind::bytes_searched) {
    status_.take_searched(event.bytes);
  } else if (event.kind == event_kind::database_located) {
    status_.take_located();
  }
}

void live_view::take_facts(const run_facts& facts) {
  unsigned columns = platform::terminal_columns(stderr);
  if (rows_ != nullptr) columns = rows_->columns_for_text(columns);
  const std::lock_guard lock(mutex_);
  status_.take_facts(facts, columns);
}

void live_view::show_lines(std::string_view lines) {
  {
    const std::lock_guard lock(mutex_);
    if (is_open_) {
      lines_ += lines;
      return;
    }
  }
  write(lines);
}

void live_view::tick(time_point now) {
  std::string text;
  std::string counters;
  {
    const std::lock_guard lock(mutex_);
    if (!lines_.empty()) text = status_.clear() + std::exchange(lines_, {});
    text += status_.show(now);
    if (rows_ != nullptr) counters = status_.counters(now);
  }
  write(text);
  if (rows_ == nullptr) return;
  rows_->set_text(row_, std::move(counters));
  rows_->draw(now);
}

void live_view::end() {
  std::string text;
  {
    const std::lock_guard lock(mutex_);
    is_open_ = false;
    // A run may be shorter than a tick.
    text = status_.clear() + status_.report_start(clock::now()) + std::exchange(lines_, {});
  }
  write(text);
  if (rows_ != nullptr) rows_->set_text(row_, "ended");
}

}  // namespace veltra::host
