#include "host/simulate/trace_player.h"

#include <algorithm>
#include <limits>

#include "host/simulate/trace_ids.h"
#include "implementation/contract.h"

namespace veltra::host {

namespace {

constexpr std::uint64_t bits_per_byte = 10;
constexpr std::uint64_t ns_per_second = 1'000'000'000;
// A line of this many pieces a second is as smooth as a USB adapter, which hands
// on what it has once a millisecond.
constexpr std::uint64_t pieces_per_second = 1000;
constexpr std::size_t fastest_piece = std::size_t{1} << 16;

// When the line has sent what it was given, to the nanosecond however long it runs.
class line_time {
 public:
  line_time(modem_line::time_point begin, std::uint32_t baud_rate)
      : free_(begin), baud_rate_(baud_rate) {}

  modem_line::time_point free() const { return free_; }

  void be_idle_until(modem_line::time_point when) { free_ = std::max(free_, when); }

  void send(std::size_t bytes) {
    const std::uint64_t scaled = bytes * bits_per_byte * ns_per_second + remainder_;
    free_ += std::chrono::nanoseconds(scaled / baud_rate_);
    remainder_ = scaled % baud_rate_;
  }

 private:
  modem_line::time_point free_;
  std::uint64_t baud_rate_;
  std::uint64_t remainder_ = 0;  // of a nanosecond, in parts of baud_rate_
};

std::size_t piece_size(const play_pace& pace) {
  if (pace.speed == play_speed::fastest) return fastest_piece;
  return static_cast<std::size_t>(
      std::max<std::uint64_t>(1, pace.baud_rate / bits_per_byte / pieces_per_second));
}

class playing {
 public:
  playing(trace_player& player, const play_pace& pace, modem_line& line)
      : player_(player),
        speed_(pace.speed),
        line_(line),
        begin_(line.now()),
        time_(begin_, pace.baud_rate),
        piece_(piece_size(pace)) {}

  play_result run() {
    play_result result;
    while (result.end == play_end::complete && collect()) {
      const std::string_view piece = std::string_view(waiting_).substr(0, piece_);
      result.end = send(piece);
      if (result.end != play_end::complete) break;
      result.bytes += piece.size();
      waiting_.erase(0, piece.size());
    }
    return result;
  }

 private:
  // Gathers what is due into one piece; false when there is nothing more to send.
  bool collect() {
    if (waiting_.empty() && !player_.at_end()) {
      if (speed_ == play_speed::session) time_.be_idle_until(due());
      player_.append_next(waiting_);
    }
    while (waiting_.size() < piece_ && !player_.at_end() &&
           (speed_ != play_speed::session || due() <= time_.free())) {
      player_.append_next(waiting_);
    }
    return !waiting_.empty();
  }

  modem_line::time_point due() const {
    return begin_ + std::chrono::nanoseconds(player_.next_time_ns());
  }

  play_end send(std::string_view piece) {
    if (speed_ != play_speed::fastest) {
      time_.send(piece.size());
      if (const play_end end = line_.sleep_until(time_.free()); end != play_end::complete) {
        return end;
      }
    }
    return line_.write(piece);
  }

  trace_player& player_;
  const play_speed speed_;
  modem_line& line_;
  const modem_line::time_point begin_;
  line_time time_;
  const std::size_t piece_;
  std::string waiting_;  // frames, or what is left of one
};

}  // namespace

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

play_result play(trace_player& player, const play_pace& pace, modem_line& line) {
  KOVAX_CONTRACT(pace.baud_rate > 0);
  return playing(player, pace, line).run();
}

}  // namespace veltra::host
