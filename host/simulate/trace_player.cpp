#include "host/simulate/trace_player.h"

#include <limits>

#include "host/simulate/trace_ids.h"
#include "implementation/contract.h"

namespace veltra::host {

trace_player::trace_player(const trace_sequence& sequence, std::uint64_t repetitions)
    : sequence_(sequence),
      repetitions_(sequence.traces.empty() ? 0 : repetitions),
      encoder_(core_master_id) {
  KOVAX_CONTRACT(sequence.period_ns > 0 && repetitions <= max_repetitions(sequence));
}

std::uint64_t trace_player::max_repetitions(const trace_sequence& sequence) noexcept {
  return std::numeric_limits<std::uint64_t>::max() / sequence.period_ns;
}

std::uint64_t trace_player::next_time_ns() const noexcept {
  return repetition_ * sequence_.period_ns + sequence_.traces[index_].time_ns;
}

void trace_player::append_next(std::string& out) {
  encoder_.append(sequence_.traces[index_].bytes, next_time_ns(), out);
  if (++index_ == sequence_.traces.size()) {
    index_ = 0;
    ++repetition_;
  }
}

}  // namespace veltra::host
