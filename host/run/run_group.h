// run_group.h - what the runs of one process share.
#pragma once

#include <cstddef>

#include "host/run/interrupt_relay.h"
#include "host/run/service_reports.h"

namespace veltra::host {

struct run_group {
  // For so many runs, which must end before the object. `has_watch`: the caller has a
  // platform::interrupt_watch that calls `interrupts`; otherwise the only run makes one.
  run_group(std::size_t runs, bool has_watch) : is_watched(has_watch), service(runs) {}

  const bool is_watched;
  interrupt_relay interrupts;
  service_reports service;
};

}  // namespace veltra::host
