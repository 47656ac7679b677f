// display.h - what a person sees of a run while it goes on.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/source/packet.h"
#include "host/source/source_events.h"

namespace veltra::host {

// What a run knows of itself beyond its packets.
struct run_facts {
  bool is_waiting = false;              // for its input
  std::uint64_t missed = 0;             // packets that an output was too slow for
  std::uint64_t gaps = 0;               // times without input
  std::vector<std::string> files = {};  // being written, as the user knows them
};

// Gets what happens in a run and shows it on the terminal, at its own pace. take_packet()
// and take_event() come from the run's thread and must not wait for the terminal; tick()
// comes several times a second on a thread where waiting costs nobody anything.
class display {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  display() = default;
  display(const display&) = delete;
  display& operator=(const display&) = delete;
  virtual ~display() = default;

  virtual void take_packet(const packet& /*packet*/) {}
  virtual void take_event(const source_event& /*event*/) {}

  // Before each tick(), on its thread.
  virtual void take_facts(const run_facts& /*facts*/) {}

  // Shows whole lines that stay. Any thread.
  virtual void show_lines(std::string_view lines) = 0;

  virtual void tick(time_point /*now*/) {}

  // Leaves the terminal; nothing is shown afterwards except for lines. On the run's
  // thread, when tick() is not called any more.
  virtual void end() {}
};

}  // namespace veltra::host
