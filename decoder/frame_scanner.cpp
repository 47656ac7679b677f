#include "decoder/frame_scanner.h"

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
  synchronised_ = false;
}

void frame_scanner::unstuff(std::span<const std::uint8_t> stuffed) noexcept {
  while (!stuffed.empty() && !too_long_) {
    if (escaping_) {
      const auto byte = static_cast<std::uint8_t>(stuffed.front() ^ escape_mask);
      escaping_ = false;
      hold({&byte, 1});
      stuffed = stuffed.subspan(1);
      continue;
    }
    const std::size_t plain = length_before(stuffed, frame_escape);
    hold(stuffed.first(plain));
    escaping_ = plain < stuffed.size();
    stuffed = stuffed.subspan(plain + (escaping_ ? 1 : 0));
  }
}

void frame_scanner::hold(std::span<const std::uint8_t> bytes) noexcept {
  if (bytes.size() > max_frame_size - held_size_) {
    too_long_ = true;
    return;
  }
  if (!bytes.empty()) {
    std::memcpy(held_.get() + held_size_, bytes.data(), bytes.size());
    held_size_ += bytes.size();
  }
}

void frame_scanner::begin_frame() noexcept {
  held_size_ = 0;
  escaping_ = false;
  too_long_ = false;
}

}  // namespace open_decoder
