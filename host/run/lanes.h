// lanes.h - the outlets of a run, and what a person is shown of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/run/outlet.h"

namespace veltra::host {

// Every packet goes to every outlet; one that fails or stalls is reported once and costs
// the others nothing. add(), start() and finish() belong to the thread that owns the
// sinks, push() to the run's thread, watch() to the ticker's; the rest to any.
class lanes {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  // `note` shows a sentence to a person.
  explicit lanes(std::function<void(const std::string&)> note) : note_(std::move(note)) {}

  // See outlet. The outlet lives as long as this object.
  outlet& add(sink& to, delivery delivery) { return lanes_.emplace_back(to, delivery).to; }

  void start();
  void push(const packet& packet);
  void push(const boundary& boundary);
  void finish();

  void limit_writes();
  // `goes_on` says whether the run goes on without an outlet that has failed.
  void watch(time_point now, const std::function<bool()>& goes_on);

  // Those that have failed.
  std::vector<const outlet*> failed() const;

 private:
  struct lane {
    lane(sink& sink, delivery delivery) : to(sink, delivery) {}

    outlet to;
    bool is_failure_noted = false;
  };

  void watch(lane& watched, time_point now, const std::function<bool()>& goes_on);

  const std::function<void(const std::string&)> note_;
  std::deque<lane> lanes_;
};

}  // namespace veltra::host
