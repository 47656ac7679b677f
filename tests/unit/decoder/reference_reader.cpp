#include "tests/unit/decoder/reference_reader.h"

namespace open_decoder::test {
namespace {

std::uint64_t integer_at(const bytes& frame, std::size_t offset, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    value += std::uint64_t{frame.at(offset + i)} << (8 * i);
  }
  return value;
}

// How often the sender counted between two frames; after 0xFFFFFFFF it counts to 1.
std::uint64_t steps_between(std::uint64_t earlier, std::uint64_t later) {
  return later >= earlier ? later - earlier : 0xFFFFFFFF - earlier + later;
}

}  // namespace

std::uint32_t reference_crc(std::span<const std::uint8_t> data) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : data) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
    }
  }
  return ~crc;
}

void reference_reader::read(std::uint8_t byte) {
  if (byte == 0x7E) {
    if (begun_) {
      end_frame();
    }
    synchronised_ = true;
    begun_ = escaping_ = too_long_ = false;
    frame_.clear();
    return;
  }
  if (!synchronised_) {
    ++statistics_.bytes_outside_frames;
    return;
  }
  begun_ = true;
  if (frame_.size() == 131072) {
    too_long_ = true;
    ++statistics_.bytes_outside_frames;
  } else if (escaping_) {
    frame_.push_back(byte ^ 0x20);
    escaping_ = false;
  } else if (byte == 0x7D) {
    escaping_ = true;
  } else {
    frame_.push_back(byte);
  }
}

bool reference_reader::is_intact() const {
  return !escaping_ && !too_long_ && frame_.size() >= 21 && frame_[0] == 1 &&
         reference_crc(std::span(frame_).first(frame_.size() - 4)) ==
             integer_at(frame_, frame_.size() - 4, 4);
}

void reference_reader::end_frame() {
  ++statistics_.frames_found;
  if (!is_intact()) {
    ++statistics_.frames_damaged;
    ++damaged_since_intact_;
    traces_.push_back(loss_report(0, 1, last_timestamp_));
    return;
  }
  ++statistics_.frames_intact;
  const auto master_id = static_cast<std::uint32_t>(integer_at(frame_, 1, 4));
  const auto timestamp = integer_at(frame_, 9, 8);
  count_gap(static_cast<std::uint32_t>(integer_at(frame_, 5, 4)), timestamp);
  if (master_id == 3 || master_id == 19 || master_id == 35) {
    traces_.push_back({.master_id = master_id,
                       .channel = 0,
                       .timestamp = timestamp,
                       .data = bytes(frame_.begin() + 17, frame_.end() - 4)});
  } else {
    ++statistics_.frames_of_unknown_masters;
  }
}

void reference_reader::count_gap(std::uint32_t sequence, std::uint64_t timestamp) {
  if (last_sequence_ && sequence != 0) {
    const auto steps = steps_between(*last_sequence_, sequence);
    const auto gap = steps == 0 || steps >= 0x80000000 ? 0 : steps - 1;
    if (gap > damaged_since_intact_) {
      traces_.push_back(
          loss_report(static_cast<std::uint32_t>(gap) - damaged_since_intact_, 0, timestamp));
    }
  }
  last_sequence_ = sequence;
  last_timestamp_ = timestamp;
  damaged_since_intact_ = 0;
}

}  // namespace open_decoder::test
