// reference_reader.h - a second reader of docs/frame-format.md, to compare the decoder
// with.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {

// CRC-32, bit by bit as the encoder in docs/frame-format.md computes it.
std::uint32_t reference_crc(std::span<const std::uint8_t> data);

// Reads a stream one byte at a time with `test_configuration`. It shares no code with
// the decoder and does nothing for speed.
class reference_reader {
 public:
  void read(std::uint8_t byte);

  // All traces so far, loss reports included.
  [[nodiscard]] const std::vector<trace>& traces() const { return traces_; }

  [[nodiscard]] const dekodrix_statistics& statistics() const { return statistics_; }

 private:
  void end_frame();
  [[nodiscard]] bool is_intact() const;
  void count_gap(std::uint32_t sequence, std::uint64_t timestamp);

  bool synchronised_ = false;  // a flag was seen
  bool begun_ = false;         // a byte came after the last flag
  bool escaping_ = false;
  bool too_long_ = false;
  bytes frame_;

  std::optional<std::uint32_t> last_sequence_;
  std::uint64_t last_timestamp_ = 0;
  std::uint32_t damaged_since_intact_ = 0;
  std::vector<trace> traces_;
  dekodrix_statistics statistics_{};
};

}  // namespace open_decoder::test
