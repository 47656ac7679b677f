// decoder.h - the open decoder: trace bytes in, traces out.
#pragma once

#include <dekodrix/statistics.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "decoder/configuration.h"
#include "decoder/frame.h"
#include "decoder/frame_scanner.h"
#include "decoder/loss_monitor.h"
#include "decoder/trace_queue.h"

namespace open_decoder {

// Decodes one stream of frames (docs/frame-format.md). Any split of the stream into
// pieces and any schedule of parse() calls give the same traces. Between two calls
// of parse() it keeps the bytes appended since, one unfinished frame (at most
// `max_frame_size` bytes) and the traces not taken yet.
//
// One thread at a time; different decoders are independent.
class decoder {
 public:
  // Has no configuration, so that it accepts no master, and adds nothing to
  // timestamps. Throws std::bad_alloc.
  decoder() = default;

  // From now on adds `nanoseconds` to the time of every trace decoded, modulo 2^64.
  void set_timebase(std::uint64_t nanoseconds) noexcept { timebase_ = nanoseconds; }

  // Takes a configuration for what is parsed from now on. Returns false
  // and keeps the current one if the text is not a configuration. Throws std::bad_alloc.
  bool set_configuration(std::string_view text);

  // Forgets bytes, traces, losses, statistics and the place in the stream; keeps the
  // configuration and the timebase.
  void reset() noexcept;

  // Copies the next bytes of the stream. Throws std::bad_alloc and then takes
  // none of them; the frames lost this way show as a gap in the sequence numbers.
  void append(std::span<const std::uint8_t> bytes);

  // Decodes what was appended. A frame that does not fit in memory counts as one that never
  // arrived.
  void parse() noexcept;

  [[nodiscard]] std::uint64_t trace_count() const noexcept { return traces_.size(); }

  // Takes the oldest trace; null if all are taken. One whose blocks do not fit in memory
  // counts as a missing frame, and the next one is taken.
  trace_pointer take_trace() noexcept;

  // What was found in the stream so far; a frame for whose trace there was no memory
  // counts as intact.
  [[nodiscard]] dekodrix_statistics statistics() const noexcept;

 private:
  void take_frame(const frame& received) noexcept;
  void report_loss() noexcept;

  configuration configuration_;
  std::uint64_t timebase_ = 0;        // nanoseconds
  std::uint64_t last_timestamp_ = 0;  // of the last intact frame, without timebase
  std::uint64_t frames_intact_ = 0;
  std::uint64_t frames_damaged_ = 0;
  std::uint64_t frames_of_unknown_masters_ = 0;
  std::vector<std::uint8_t> appended_;
  frame_scanner scanner_;
  loss_monitor losses_;
  trace_queue traces_;
};

}  // namespace open_decoder
