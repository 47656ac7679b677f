// modem_line.h - a serial line without hardware, on every platform: this program is
// the modem at its one end, and the port at its other end opens like any other.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pseudo_terminal.h"

namespace test_support {

// What platform::pseudo_terminal is, with the same functions; the port vanishes for
// its reader before the destructor returns. On Windows, which has no such thing, the
// line is one of the machine that runs the emulator: the program far_end holds it
// there, and must have started this one. Throws std::system_error, or
// std::runtime_error without far_end. One thread at a time.
class modem_line {
 public:
  using outcome = platform::pseudo_terminal::outcome;

  modem_line();
  modem_line(const modem_line&) = delete;
  modem_line& operator=(const modem_line&) = delete;
  ~modem_line();

  // The port's name, UTF-8, such as /dev/pts/3 or COM41.
  const std::string& device() const;

  outcome wait_for_reader(std::chrono::milliseconds settling);
  outcome write(std::string_view bytes);
  outcome drain(std::chrono::milliseconds grace);

 private:
  struct state;
  std::unique_ptr<state> state_;
};

// How this system puts what happens to such a line: its error codes.
struct line_errors {
  int missing;            // opening a port that is not there
  int busy;               // opening one that is open; 0 where it opens all the same
  std::vector<int> lost;  // using one whose modem has vanished: depends on the moment
  int refused_setting;    // settings that no line can hold
};
const line_errors& system_line_errors();

}  // namespace test_support
