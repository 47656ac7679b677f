// progress.h - one line on a terminal that tells how far a run is.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/source/packet.h"

namespace veltra::host {

// How much of the input has been read, from a packet's metadata.
struct input_position {
  std::uint64_t offset = 0;           // bytes
  std::optional<std::uint64_t> size;  // bytes of a file; none for other inputs
};

// Reads the position out of the metadata's first members without parsing the
// rest; nothing if they are not there.
std::optional<input_position> read_position(std::string_view metadata);

// A bar with percentage and speed, redrawn in place. One thread.
class progress_bar {
 public:
  using clock = std::function<std::chrono::steady_clock::time_point()>;

  // `terminal` null: nothing is ever drawn. `now` is replaced in tests.
  explicit progress_bar(std::FILE* terminal, clock now = std::chrono::steady_clock::now);
  progress_bar(const progress_bar&) = delete;
  progress_bar& operator=(const progress_bar&) = delete;

  // Wipes the bar.
  ~progress_bar();

  // Draws, at most ten times a second.
  void update(const packet& packet);

  // Takes the bar off until the next update, for lines that are to stay.
  void wipe();

 private:
  void show(std::string_view text);

  std::FILE* terminal_;
  clock now_;
  std::chrono::steady_clock::time_point begin_;
  std::chrono::steady_clock::time_point next_;
  bool drawn_ = false;
};

// The bar's text: "[#####-----]  50 %  12.3 MB/s".
std::string format_progress(const input_position& position, std::chrono::duration<double> elapsed);

}  // namespace veltra::host
