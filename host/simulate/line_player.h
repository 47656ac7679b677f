// line_player.h - a session's traces sent along a serial line in its time.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "host/simulate/trace_player.h"

namespace veltra::host {

enum class play_speed {
  line,     // one byte after the other, as fast as the line can
  session,  // each trace at its own time, never faster than the line
  fastest,  // as fast as the reader takes it
};

struct play_pace {
  play_speed speed = play_speed::line;
  std::uint32_t baud_rate = 1'000'000;  // bits per second, at least 1
};

// Why playing or a step of it ended.
enum class play_end { complete, interrupted, reader_gone };

// The line's end where the modem is, with the clock it runs on.
class modem_line {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  modem_line() = default;
  modem_line(const modem_line&) = delete;
  modem_line& operator=(const modem_line&) = delete;
  virtual ~modem_line() = default;

  virtual time_point now() = 0;

  // Sends all of `bytes`, waiting while the reader does not keep up.
  virtual play_end write(std::string_view bytes) = 0;

  virtual play_end sleep_until(time_point when) = 0;
};

struct play_result {
  play_end end = play_end::complete;
  std::uint64_t bytes = 0;  // sent
};

// Plays what `player` has left. A byte takes 10 bits (a start bit, 8 data bits, a
// stop bit) and is sent when its last bit would have arrived. The times are counted
// from the start, so that being late once makes nothing after it late. Throws what
// `line` throws.
play_result play(trace_player& player, const play_pace& pace, modem_line& line);

}  // namespace veltra::host
