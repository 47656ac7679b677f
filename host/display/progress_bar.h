// progress_bar.h - how far the reading of a file is.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "host/display/display.h"

namespace veltra::host {

// How much of the input has been read, from a packet's metadata.
struct input_position {
  std::uint64_t offset = 0;           // bytes
  std::optional<std::uint64_t> size;  // bytes of a file; none for other inputs
};

// Reads the position out of the metadata's first members without parsing the
// rest; nothing if they are not there.
std::optional<input_position> read_position(std::string_view metadata);

// A bar with percentage and speed, redrawn in place.
class progress_bar : public display {
 public:
  // `terminal` null: nothing is ever drawn. The clock of tick() runs from `begin`.
  explicit progress_bar(std::FILE* terminal, time_point begin = std::chrono::steady_clock::now());

  void take_packet(const packet& packet) override;
  void show_lines(std::string_view lines) override;
  void tick(time_point now) override;
  void end() override;

 private:
  void wipe();
  void show(std::string_view text);

  std::FILE* const terminal_;
  const time_point begin_;
  std::mutex mutex_;  // guards what follows
  std::optional<input_position> position_;
  bool is_drawn_ = false;
};

// The bar's text: "[#####-----]  50 %  12.3 MB/s".
std::string format_progress(const input_position& position, std::chrono::duration<double> elapsed);

}  // namespace veltra::host
