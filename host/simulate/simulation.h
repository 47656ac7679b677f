// simulation.h - a session written out as a trace file and its trace database.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "host/output/output_file.h"
#include "host/simulate/virtual_modem.h"

namespace veltra::host {

// Writes a session as a trace file and the database that describes it. The options name
// both, and both appear when both are whole, the database first. Memory does not grow
// with `repeat`. One thread at a time, except for limit_writes(); every failure is a
// user_error.
class simulation {
 public:
  // Checks the options, builds the modem, and opens the outputs that are streams; opening
  // a named pipe waits for its reader. Creates no file, so that the process may be ended
  // at any time meanwhile.
  explicit simulation(simulate_options options);

  // Writes both; call once. `stopped` is asked now and then on this thread; when it
  // returns true, the trace ends early, with a whole frame.
  simulate_result write(const std::function<bool()>& stopped);

  // From now on, a stream whose reader takes nothing fails soon, see output_file. Any
  // thread.
  void limit_writes() noexcept;

 private:
  simulate_options options_;
  virtual_modem modem_;
  std::optional<output_file> database_;
  std::optional<output_file> trace_;
  std::vector<output_file*> streams_;  // those of the two outputs that are streams
};

}  // namespace veltra::host
