// live_simulation.h - the virtual modem on a serial line made of software.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

#include "host/simulate/line_player.h"
#include "host/simulate/simulation.h"

namespace veltra::host {

struct live_simulate_options {
  simulate_options source;     // without a trace file
  std::filesystem::path link;  // a symbolic link to the device; empty: none
  play_pace pace;
};

struct live_simulate_result {
  std::size_t messages = 0;  // in one play of the session
  std::uint64_t trace_bytes = 0;
  std::string uuid;  // the database's
  bool interrupted = false;
};

// Opens a pseudo-terminal, writes the database if one is named, tells the device to
// `announce`, waits for a reader and plays the session to it. Returns when the reader
// has had all of it and closed the port, or had half a second's time for it, or on Ctrl-C.
// The link is there while it runs; one that an earlier run left behind is replaced.
// Throws user_error; run_failed when the reader leaves before the end.
live_simulate_result simulate_live(
    const live_simulate_options& options,
    const std::function<void(const std::filesystem::path&)>& announce);

}  // namespace veltra::host
