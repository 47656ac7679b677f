// live_view.h - the state of a capture while the run waits for its input.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "host/display/display.h"
#include "host/display/live_status.h"
#include "host/display/port_rows.h"

namespace veltra::host {

// Shows what a live_status has to say when its time has come, on stderr. While the port
// is open lines wait for the next tick(), so that a terminal that has been stopped does
// not stop the run.
class live_view : public display {
 public:
  // `rows` and `row`: where the counters of one port among several are shown, whose own line
  // the options turn off then; null: the port is the only one. Must outlive the object.
  explicit live_view(live_status_options options, port_rows* rows = nullptr, std::size_t row = 0);

  void take_packet(const packet& packet) override;
  void take_event(const source_event& event) override;
  void take_facts(const run_facts& facts) override;
  void show_lines(std::string_view lines) override;
  void tick(time_point now) override;
  void end() override;

 private:
  void write(std::string_view text);

  port_rows* const rows_;
  const std::size_t row_;
  std::mutex mutex_;  // guards what follows
  live_status status_;
  bool is_open_ = false;  // the port, until end()
  std::string lines_;     // not shown yet
};

}  // namespace veltra::host
