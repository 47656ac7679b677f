#include "host/run/lanes.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

namespace veltra::host {

namespace {

// A reader that takes nothing for this long is reported.
constexpr std::chrono::seconds stall_before_note{5};

std::string describe(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

void lanes::start() {
  for (lane& each : lanes_) each.to.start();
}

void lanes::push(const packet& packet) {
  for (lane& each : lanes_) each.to.push(packet);
}

void lanes::push(const boundary& boundary) {
  for (lane& each : lanes_) each.to.push(boundary);
}

void lanes::finish() {
  for (lane& each : lanes_) each.to.finish();
}

void lanes::limit_writes() {
  for (lane& each : lanes_) each.to.target().limit_writes();
}

void lanes::watch(time_point now, const std::function<bool()>& goes_on) {
  for (lane& each : lanes_) watch(each, now, goes_on);
}

std::vector<const outlet*> lanes::failed() const {
  std::vector<const outlet*> found;
  for (const lane& each : lanes_) {
    if (each.to.has_failed()) found.push_back(&each.to);
  }
  return found;
}

void lanes::watch(lane& watched, time_point now, const std::function<bool()>& goes_on) {
  outlet& to = watched.to;
  to.tick();
  if (to.has_failed()) {
    if (std::exchange(watched.is_failure_noted, true) || !goes_on()) return;
    note_(fmt::format("{} The rest of the run goes on without it.", describe(to.failure())));
    return;
  }
  if (to.has_stalled(now, stall_before_note)) {
    note_(
        fmt::format("{} has taken nothing for {} seconds: the program that reads it may have "
                    "stopped reading. What it misses is counted.",
                    to.target().name(), stall_before_note.count()));
  }
}

}  // namespace veltra::host
