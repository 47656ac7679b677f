// live_simulation.h - the virtual modem on a pseudo-terminal.
#pragma once

#include <filesystem>
#include <functional>

#include "host/simulate/trace_player.h"
#include "host/simulate/virtual_modem.h"

namespace veltra::host {

struct live_simulate_options {
  simulate_options source;     // without a trace file
  std::filesystem::path link;  // a symbolic link to the device; empty: none
  play_pace pace;
};

// Opens a pseudo-terminal, writes the database if one is named, reports the device to
// `announce`, waits for a reader and plays the session to it. Returns on Ctrl-C, or when
// the reader has had everything and closed the port or kept it open for half a second.
// The link exists while this runs. Throws user_error; run_failed when the reader closes
// the port before the end.
simulate_result simulate_live(const live_simulate_options& options,
                              const std::function<void(const std::filesystem::path&)>& announce);

}  // namespace veltra::host
