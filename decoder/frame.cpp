#include "decoder/frame.h"

#include <libdeflate.h>

namespace open_decoder {
namespace {

// Where the fields of the header begin.
constexpr std::size_t version_offset = 0;
constexpr std::size_t master_id_offset = 1;
constexpr std::size_t sequence_offset = 5;
constexpr std::size_t timestamp_offset = 9;

static_assert(version_offset + sizeof(std::uint8_t) == master_id_offset);
static_assert(master_id_offset + sizeof(frame::master_id) == sequence_offset);
static_assert(sequence_offset + sizeof(frame::sequence) == timestamp_offset);
static_assert(timestamp_offset + sizeof(frame::timestamp) == frame_header_size);

// Reads a little-endian integer; `bytes` has at least sizeof(Integer) bytes.
template <typename Integer>
Integer read_little_endian(std::span<const std::uint8_t> bytes) noexcept {
  Integer value = 0;
  for (std::size_t i = 0; i < sizeof(Integer); ++i) {
    value |= static_cast<Integer>(static_cast<Integer>(bytes[i]) << (8 * i));
  }
  return value;
}

}  // namespace

std::optional<frame> parse_frame(std::span<const std::uint8_t> bytes) noexcept {
  if (bytes.size() < min_frame_size || bytes.size() > max_frame_size) {
    return std::nullopt;
  }
  const auto checked = bytes.first(bytes.size() - frame_check_size);
  const auto check = read_little_endian<std::uint32_t>(bytes.last(frame_check_size));
  // This CRC-32 is the FCS-32 of RFC 1662, complement included.
  if (libdeflate_crc32(0, checked.data(), checked.size()) != check) {
    return std::nullopt;
  }
  if (checked[version_offset] != frame_version) {
    return std::nullopt;
  }
  return frame{.master_id = read_little_endian<std::uint32_t>(checked.subspan(master_id_offset)),
               .sequence = read_little_endian<std::uint32_t>(checked.subspan(sequence_offset)),
               .timestamp = read_little_endian<std::uint64_t>(checked.subspan(timestamp_offset)),
               .payload = checked.subspan(frame_header_size)};
}

}  // namespace open_decoder
