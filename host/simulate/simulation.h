// simulation.h - a session written out as a trace file and its trace database.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/output/output_file.h"
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

// A session on its way to a trace file and the database that describes it. Both must be
// named in the options, and both appear when both are whole, the database first. Memory
// does not grow with `repeat`. One thread at a time, but for hurry(); every failure is a
// user_error.
class simulation {
 public:
  // Checks the options, builds the modem, and opens the outputs that are streams: a named
  // pipe waits here for its reader. Makes no file, so that the process may be ended
  // meanwhile by anything.
  explicit simulation(simulate_options options);

  // Writes both; once. `stopped` is asked now and then on this thread; when it says so, the
  // trace ends early, with a whole frame.
  simulate_result write(const std::function<bool()>& stopped);

  // A reader of a stream that takes nothing more is a failure soon, see output_file. Any
  // thread.
  void hurry() noexcept;

 private:
  simulate_options options_;
  virtual_modem modem_;
  std::optional<output_file> database_;
  std::optional<output_file> trace_;
  std::vector<output_file*> streams_;  // those of the two that are
};

// The two steps that playing a session to something else than a file shares with
// it. Both throw user_error.

// Checks the options and builds the modem.
virtual_modem load_virtual_modem(const simulate_options& options);

// Writes the database; nothing when none is named.
void write_database(const simulate_options& options, const database_document& database);

}  // namespace veltra::host
