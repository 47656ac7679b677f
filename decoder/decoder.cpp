#include "decoder/decoder.h"

#include <algorithm>
#include <array>
#include <utility>

namespace open_decoder {
namespace {

// A larger buffer for appended bytes is freed once they are parsed.
constexpr std::size_t kept_capacity = std::size_t{1} << 20;

// The loss trace's counts, behind its trace id.
constexpr std::size_t count_size = sizeof(std::uint32_t);
constexpr std::size_t max_loss_trace_size = sizeof(loss_trace::id) + 2 * count_size;

void write_count(std::span<std::uint8_t> bytes, std::uint64_t count) noexcept {
  count = std::min<std::uint64_t>(count, 0xFFFFFFFF);
  for (std::size_t i = 0; i < count_size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(count >> (8 * i));
  }
}

}  // namespace

bool decoder::set_configuration(std::string_view text) {
  auto parsed = parse_configuration(text);
  if (!parsed) {
    return false;
  }
  configuration_ = std::move(*parsed);
  return true;
}

void decoder::reset() noexcept {
  appended_ = std::vector<std::uint8_t>();
  scanner_.reset();
  losses_.reset();
  traces_.clear();
  last_timestamp_ = 0;
  frames_intact_ = 0;
  frames_damaged_ = 0;
  frames_of_unknown_masters_ = 0;
}

void decoder::append(std::span<const std::uint8_t> bytes) {
  appended_.insert(appended_.end(), bytes.begin(), bytes.end());
}

void decoder::parse() noexcept {
  std::span<const std::uint8_t> input = appended_;
  std::span<const std::uint8_t> bytes;
  for (;;) {
    const auto found = scanner_.next(input, bytes);
    if (found == frame_scanner::event::need_more) {
      break;
    }
    const auto received = found == frame_scanner::event::frame ? parse_frame(bytes) : std::nullopt;
    if (received) {
      take_frame(*received);
    } else {
      ++frames_damaged_;
      losses_.damaged_frame();
      report_loss();
    }
  }
  if (appended_.capacity() > kept_capacity) {
    appended_ = std::vector<std::uint8_t>();
  } else {
    appended_.clear();
  }
}

trace_pointer decoder::take_trace() noexcept {
  while (traces_.size() != 0) {
    if (trace_pointer trace = traces_.pop()) {
      return trace;
    }
    losses_.lost_trace();
  }
  return nullptr;
}

dekodrix_statistics decoder::statistics() const noexcept {
  return {.frames_found = frames_intact_ + frames_damaged_,
          .frames_intact = frames_intact_,
          .frames_damaged = frames_damaged_,
          .frames_of_unknown_masters = frames_of_unknown_masters_,
          .bytes_outside_frames = scanner_.skipped_bytes(),
          .bytes_of_unfinished_frame = scanner_.unfinished_bytes()};
}

void decoder::take_frame(const frame& received) noexcept {
  ++frames_intact_;
  const bool is_accepted = configuration_.accepts(received.master_id);
  if (!is_accepted) {
    ++frames_of_unknown_masters_;
  } else if (!traces_.reserve(2, max_loss_trace_size + received.payload.size())) {
    return;
  }
  last_timestamp_ = received.timestamp;
  losses_.intact_frame(received.sequence);
  if (losses_.unreported().any()) {
    report_loss();
  }
  if (is_accepted) {
    traces_.push(received.master_id, received.timestamp + timebase_, received.payload);
  }
}

void decoder::report_loss() noexcept {
  const auto& settings = configuration_.loss_trace;
  if (!settings) {
    losses_.reported();
    return;
  }
  std::array<std::uint8_t, max_loss_trace_size> data{};
  const auto id = settings->id_bytes();
  std::copy(id.begin(), id.end(), data.begin());
  const auto counts = std::span(data).subspan(id.size());
  write_count(counts, losses_.unreported().missing);
  write_count(counts.subspan(count_size), losses_.unreported().damaged);
  // Without memory for it, the losses are reported together with the next ones.
  if (!traces_.reserve(1, max_loss_trace_size)) {
    return;
  }
  traces_.push(settings->master_id, last_timestamp_ + timebase_,
               std::span(data).first(id.size() + 2 * count_size));
  losses_.reported();
}

}  // namespace open_decoder
