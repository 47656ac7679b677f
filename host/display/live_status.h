// live_status.h - what a terminal shows while a capture runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/display/display.h"
#include "host/source/packet.h"
#include "host/source/run_statistics.h"

namespace veltra::host {

struct live_status_options {
  std::string port;                         // as the user knows it
  bool with_counters = true;                // a line that is redrawn, for a terminal
  std::string report_start = {};            // with it a line at the start and one a minute,
                                            // for a log
  std::chrono::milliseconds silence{5000};  // of the modem, before it is reported
  std::uint64_t long_search = 1'000'000;    // bytes without a UUID, likewise
  const char* how_to_end = "Ctrl-C ends";   // the capture, as a message says it
};

// The decoded packets by their kind (ip, rrc, nas, at, tls), in this order.
std::vector<std::pair<std::string_view, std::uint64_t>> count_kinds(
    const run_statistics& statistics);

// Counts what comes and decides what to show and when. It knows no clock and
// writes nothing itself: the time comes with every call and never goes back. Not
// synchronised.
class live_status {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  explicit live_status(live_status_options options);

  // The port is about to be open; nothing is shown before.
  void begin(time_point now);

  // What the run knows, and how many columns the terminal has; 0: as many as needed.
  void take_facts(const run_facts& facts, unsigned columns);

  // A packet came.
  void take(const packet& packet, time_point now);

  // The search for the database's UUID has looked at `bytes` of the trace so far.
  void take_searched(std::uint64_t bytes);

  // The search is over.
  void take_located();

  // What to write to the terminal now, control characters included; often nothing.
  std::string show(time_point now);

  // Time, bytes, speed and packets so far, without control characters.
  std::string counters(time_point now);

  // Takes the line off the terminal until the next show().
  std::string clear();

  // The line at the start, if it is due and was not shown yet. show() contains it.
  std::string report_start(time_point now);

 private:
  void arrived(time_point now);
  time_point silence_due() const;  // time_point::max() for never
  bool searches_long() const;      // and it was not reported yet
  std::string silence() const;     // in words
  void measure_speed(time_point now);
  std::string report(time_point now);

  const live_status_options options_;
  run_statistics statistics_;
  std::uint64_t searched_ = 0;  // bytes; 0 while no search is under way
  run_facts facts_;
  unsigned columns_ = 0;
  bool has_reported_start_ = false;
  time_point next_report_{};
  bool running_ = false;
  bool heard_ = false;   // something came since the port was opened
  bool silent_ = false;  // and it was reported
  bool long_search_told_ = false;
  bool drawn_ = false;
  time_point begin_{};
  time_point last_arrival_{};
  time_point next_draw_{};
  // The speed is that of the time since the mark, which moves on every second.
  time_point mark_{};
  std::uint64_t bytes_at_mark_ = 0;
  double speed_ = 0;  // bytes per second
};

}  // namespace veltra::host
