// frame_encoder.h - traces as the frames that a modem sends over its trace port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// A frame before it is stuffed: version (1 byte), master id (4), sequence number
// (4), timestamp in nanoseconds (8), the trace, FCS-32 (4); integers are
// little-endian. The frame's size is limited, and with it the trace's.
constexpr std::size_t max_frame_size = 131072;
constexpr std::size_t frame_header_size = 17;
constexpr std::size_t frame_check_size = 4;
constexpr std::size_t max_trace_size = max_frame_size - frame_header_size - frame_check_size;

// Writes a stream of frames in the octet-stuffed framing of RFC 1662: flag 0x7E
// around every frame, escape 0x7D, and FCS-32. A trace's bytes stay as they are
// except for those two values. One thread at a time.
class frame_encoder {
 public:
  // `master_id` is the core that all frames come from; the first frame of the
  // stream has the sequence number 0, which marks a (re)start.
  explicit frame_encoder(std::uint32_t master_id, std::uint32_t first_sequence = 0);

  // Appends one frame, both of its flags included, to `out`. `trace` is not
  // kept and must not be larger than max_trace_size (a broken contract).
  void append(std::string_view trace, std::uint64_t timestamp_ns, std::string& out);

 private:
  std::uint32_t master_id_;
  std::uint32_t sequence_;
  std::vector<char> stuffed_;  // room for the largest frame, so that no byte needs a check
};

}  // namespace veltra::host
