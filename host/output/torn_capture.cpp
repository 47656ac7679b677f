#include "host/output/torn_capture.h"

#include <algorithm>
#include <optional>

#include "host/output/pcapng_blocks.h"

namespace veltra::host {

namespace {

constexpr std::size_t min_block = 12;         // type and both lengths
constexpr std::size_t min_packet_block = 32;  // with the fixed fields of a packet
constexpr std::size_t length_size = 4;

std::uint32_t u32_at(std::string_view bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < sizeof value; ++i) {
    value |= std::uint32_t{static_cast<unsigned char>(bytes[offset + i])} << (8 * i);
  }
  return value;
}

// The option if_tsoffset of an interface's description; 0 without it.
std::int64_t time_offset_of(std::string_view block) {
  constexpr std::size_t options_begin = 16;
  constexpr std::size_t option_header = 4;
  constexpr std::uint32_t code = 14;
  std::size_t at = options_begin;
  while (at + option_header + length_size <= block.size()) {
    const std::uint32_t header = u32_at(block, at);
    const std::size_t size = header >> 16;
    at += option_header;
    if (at + size + length_size > block.size()) break;
    if ((header & 0xffff) == code && size == sizeof(std::int64_t)) {
      return static_cast<std::int64_t>(std::uint64_t{u32_at(block, at + 4)} << 32 |
                                       u32_at(block, at));
    }
    at += (size + 3) / 4 * 4;
  }
  return 0;
}

}  // namespace

bool torn_capture::add(std::string_view bytes) {
  pending_ += bytes;
  std::string_view rest = pending_;
  while (!is_broken_ && rest.size() >= min_block) {
    const std::uint32_t length = u32_at(rest, 4);
    if (length < min_block || length % 4 != 0 || length > max_block) {
      is_broken_ = true;
    } else if (rest.size() < length) {
      break;
    } else if (!take_block(rest.substr(0, length))) {
      is_broken_ = true;
    } else {
      whole_bytes_ += length;
      rest.remove_prefix(length);
    }
  }
  pending_.erase(0, pending_.size() - rest.size());
  return !is_broken_;
}

// False for a block that is not whole: blocks of zeros are what a loss of power leaves.
bool torn_capture::take_block(std::string_view block) {
  const std::uint32_t type = u32_at(block, 0);
  if (u32_at(block, block.size() - length_size) != block.size()) return false;
  if ((type == pcapng::section_header_type) != (whole_bytes_ == 0)) return false;
  switch (type) {
    case pcapng::interface_description_type:
      interfaces_.push_back({.time_offset = time_offset_of(block)});
      break;
    case pcapng::enhanced_packet_type: {
      if (block.size() < min_packet_block) return false;
      const std::uint32_t number = u32_at(block, 8);
      if (number >= interfaces_.size()) return false;
      interface& on = interfaces_[number];
      ++on.received;
      on.last_time = std::uint64_t{u32_at(block, 12)} << 32 | u32_at(block, 16);
      ++packets_;
      break;
    }
    case pcapng::interface_statistics_type:
      has_statistics_ = true;
      break;
    default:
      break;
  }
  return true;
}

std::uint64_t torn_capture::last_time() const {
  constexpr std::uint64_t ns_per_second = 1'000'000'000;
  std::uint64_t latest = 0;
  for (const interface& each : interfaces_) {
    if (each.received == 0) continue;
    latest = std::max(
        latest, static_cast<std::uint64_t>(each.time_offset) * ns_per_second + each.last_time);
  }
  return latest;
}

std::string torn_capture::missing_statistics() const {
  std::string blocks;
  if (has_statistics_) return blocks;
  for (std::size_t i = 0; i < interfaces_.size(); ++i) {
    pcapng::append_statistics(blocks, static_cast<std::uint32_t>(i), interfaces_[i].last_time,
                              interfaces_[i].received, std::nullopt);
  }
  return blocks;
}

}  // namespace veltra::host
