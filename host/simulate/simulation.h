// simulation.h - a session written out as a trace file and its trace database.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "host/simulate/virtual_modem.h"

namespace veltra::host {

// What the command line asks for.
struct simulate_options {
  std::filesystem::path session;
  std::filesystem::path trace;     // "-" is standard output; empty when there is no file
  std::filesystem::path database;  // .json, or .gz for an archive; empty: none is written
  std::uint64_t repeat = 1;
  std::optional<std::string> uuid;
};

// What has been written.
struct simulate_result {
  std::size_t messages = 0;  // in one play of the session
  std::uint64_t trace_bytes = 0;
  std::string uuid;  // the database's
  bool interrupted = false;
};

// Writes the trace of the session and the database that describes it, both or
// neither. Both must be named. Memory does not grow with `repeat`. `stopped` is asked now
// and then on this thread; when it says so, the trace ends early, with a whole frame.
// Throws user_error.
simulate_result simulate(
    const simulate_options& options, const std::function<bool()>& stopped = [] { return false; });

// The two steps that playing a session to something else than a file shares with
// it. Both throw user_error.

// Checks the options and builds the modem.
virtual_modem load_virtual_modem(const simulate_options& options);

// Writes the database; nothing when none is named.
void write_database(const simulate_options& options, const database_document& database);

}  // namespace veltra::host
