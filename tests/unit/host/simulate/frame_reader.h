// frame_reader.h - takes a stream of frames apart, for tests only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// One frame, its check found good.
struct read_frame {
  unsigned version = 0;
  std::uint32_t master_id = 0;
  std::uint32_t sequence = 0;
  std::uint64_t timestamp_ns = 0;
  std::string trace;
};

// Reads a stream that begins and ends with a flag. Throws std::runtime_error for
// anything that is not a sound frame.
std::vector<read_frame> read_frames(std::string_view stream);

}  // namespace veltra::host
