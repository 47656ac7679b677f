#include "decoder/frame_scanner.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace open_decoder {
namespace {

// Returns how many bytes come before the first `wanted`; all of them if there is none.
std::size_t length_before(std::span<const std::uint8_t> bytes, std::uint8_t wanted) noexcept {
  if (bytes.empty()) {
    return 0;
  }
  const void* found = std::memchr(bytes.data(), wanted, bytes.size());
  return found == nullptr
             ? bytes.size()
             : static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
}

// Bytes that are unstuffed in one step.
constexpr std::size_t block_size = sizeof(std::uint64_t);

// Returns how many of the block_size bytes at `from` come before the first escape.
std::size_t plain_in_block(const std::uint8_t* from) noexcept {
  constexpr std::uint64_t ones = 0x0101010101010101;
  std::uint64_t block = 0;
  for (unsigned i = 0; i < block_size; ++i) {
    block |= std::uint64_t{from[i]} << (8 * i);
  }
  // Escapes become zero bytes. The lowest bit of `found` is the highest one of the lowest
  // zero byte; without a zero byte `found` is 0 and countr_zero() returns 64.
  block ^= ones * frame_escape;
  const std::uint64_t found = (block - ones) & ~block & (ones << 7);
  return static_cast<std::size_t>(std::countr_zero(found)) / 8;
}

}  // namespace

frame_scanner::frame_scanner()
    : held_(std::make_unique_for_overwrite<std::uint8_t[]>(max_frame_size)) {}

frame_scanner::event frame_scanner::next(std::span<const std::uint8_t>& input,
                                         std::span<const std::uint8_t>& bytes) noexcept {
  while (!input.empty()) {
    const auto segment = input.first(length_before(input, frame_flag));
    const bool ended = segment.size() < input.size();
    input = input.subspan(segment.size() + (ended ? 1 : 0));
    if (!synchronised_) {
      synchronised_ = ended;
      skipped_bytes_ += segment.size();
      continue;
    }
    if (ended && !frame_has_begun()) {
      if (segment.empty()) {
        continue;
      }
      // Most frames lie whole in the input and need no unstuffing: no copy.
      if (segment.size() <= max_frame_size &&
          length_before(segment, frame_escape) == segment.size()) {
        bytes = segment;
        return event::frame;
      }
    }
    unstuff(segment);
    if (!ended) {
      break;
    }
    const bool intact = !escaping_ && !too_long_;
    bytes = {held_.get(), held_size_};
    begin_frame();
    return intact ? event::frame : event::damaged;
  }
  return event::need_more;
}

void frame_scanner::reset() noexcept {
  begin_frame();
  skipped_bytes_ = 0;
  synchronised_ = false;
}

void frame_scanner::unstuff(std::span<const std::uint8_t> stuffed) noexcept {
  while (!stuffed.empty()) {
    const std::size_t room = max_frame_size - held_size_;
    if (room == 0) {
      too_long_ = true;
      skipped_bytes_ += stuffed.size();
      return;
    }
    // Unstuffing makes nothing longer, so that this part fits.
    const auto part = stuffed.first(std::min(room, stuffed.size()));
    unstuff_fitting(part);
    stuffed = stuffed.subspan(part.size());
  }
}

void frame_scanner::unstuff_fitting(std::span<const std::uint8_t> stuffed) noexcept {
  const std::uint8_t* from = stuffed.data();
  const std::uint8_t* const end = from + stuffed.size();
  std::uint8_t* to = held_.get() + held_size_;
  if (escaping_) {
    *to++ = *from++ ^ escape_mask;
    escaping_ = false;
  }
  while (from != end) {
    if (*from == frame_escape) {
      if (end - from == 1) {
        escaping_ = true;
        break;
      }
      *to++ = from[1] ^ escape_mask;
      from += 2;
      continue;
    }
    std::size_t plain = block_size;
    if (static_cast<std::size_t>(end - from) >= block_size) {
      std::memcpy(to, from, block_size);
      plain = plain_in_block(from);
    }
    if (plain == block_size) {
      plain = length_before({from, end}, frame_escape);
      std::memcpy(to, from, plain);
    }
    from += plain;
    to += plain;
  }
  held_size_ = static_cast<std::size_t>(to - held_.get());
}

void frame_scanner::begin_frame() noexcept {
  held_size_ = 0;
  escaping_ = false;
  too_long_ = false;
}

}  // namespace open_decoder
