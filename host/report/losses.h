// losses.h - where the trace has holes.
#pragma once

#include <cstdint>
#include <vector>

#include "host/report/message.h"

namespace veltra::report {

struct loss {
  std::uint32_t frame = 0;  // the message that reports it, or the first one after the gap
  std::uint64_t begin = 0;  // nanoseconds; the message before
  std::uint64_t end = 0;
  std::uint64_t traces = 0;  // that the modem or the decoder reports lost; 0: only silence
};

// Reports of lost traces, and times without any message that are longer than an idle modem with
// its pagings is silent.
std::vector<loss> find_losses(const std::vector<message>& messages);

// A silence that counts as a gap, in nanoseconds.
inline constexpr std::uint64_t min_gap = 60'000'000'000;

}  // namespace veltra::report
