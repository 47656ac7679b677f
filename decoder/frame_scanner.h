// frame_scanner.h - cuts a byte stream into unstuffed frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "decoder/frame.h"

namespace open_decoder {

// Finds the frames of an octet-stuffed stream (RFC 1662, 4.2), whatever chunks
// the stream comes in, and undoes the stuffing. It holds at most one frame of
// `max_frame_size` bytes.
//
// One thread at a time.
class frame_scanner {
 public:
  enum class event {
    frame,      // a whole frame, not checked yet
    damaged,    // a frame that was aborted by its sender or is too long
    need_more,  // the input is used up
  };

  // Throws std::bad_alloc.
  frame_scanner();

  // Reads on in `input`, up to the end of the next frame, and removes the bytes that
  // it used. With event::frame, `bytes` is set to the unstuffed frame: at
  // most `max_frame_size` bytes, never empty, valid until the next call and
  // as long as the input's memory is. Bytes before the stream's first flag and
  // empty frames are passed over. Never throws.
  event next(std::span<const std::uint8_t>& input, std::span<const std::uint8_t>& bytes) noexcept;

  // Returns how many bytes were skipped: those before the first flag, and those beyond
  // the limit in frames that are too long. Flags do not count.
  [[nodiscard]] std::uint64_t skipped_bytes() const noexcept { return skipped_bytes_; }

  // Returns how many bytes of the frame begun are held; an escaped one
  // counts once. 0 between frames.
  [[nodiscard]] std::uint64_t unfinished_bytes() const noexcept {
    return held_size_ + (escaping_ ? 1 : 0);
  }

  // Forgets the frame begun and all counts, and waits for a flag, as at the start of a
  // stream.
  void reset() noexcept;

 private:
  // Adds bytes to the frame begun, as far as the limit allows.
  void unstuff(std::span<const std::uint8_t> stuffed) noexcept;
  // The same for bytes that are known to fit; at least one.
  void unstuff_fitting(std::span<const std::uint8_t> stuffed) noexcept;
  void begin_frame() noexcept;
  [[nodiscard]] bool frame_has_begun() const noexcept {
    return held_size_ != 0 || escaping_ || too_long_;
  }

  // The frame begun, unstuffed; max_frame_size bytes, not cleared in advance.
  std::unique_ptr<std::uint8_t[]> held_;
  std::size_t held_size_ = 0;
  std::uint64_t skipped_bytes_ = 0;
  bool synchronised_ = false;  // a flag was seen
  bool escaping_ = false;      // the last byte was an escape
  bool too_long_ = false;      // the frame begun exceeds max_frame_size
};

}  // namespace open_decoder
