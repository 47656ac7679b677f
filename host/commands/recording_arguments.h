// recording_arguments.h - the options of a capture that runs for long, as dumpcap's users
// know them.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "host/commands/commands.h"

namespace veltra::host {

// The texts of the options.
struct recording_arguments {
  std::vector<std::string> rotation;
  std::vector<std::string> end;
  std::uint64_t packets = 0;
  std::string min_free;
  double sync_interval = 0;
  bool reconnects = false;
};

// Each adds options to `app` that write to their targets when the command line is parsed;
// the targets must outlive `app`.
void add_recording_options(CLI::App& app, recording_arguments& given, keeping_options& keeping);
void add_status_options(CLI::App& app, capture_options& options);

// What was given. Throws user_error (usage) for a value that is not understood.
void take_recording_options(const recording_arguments& given, capture_options& options);

}  // namespace veltra::host
