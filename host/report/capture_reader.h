// capture_reader.h - the frames of a pcapng file, without their dissection.
//
// The format is draft-ietf-opsawg-pcapng, in either byte order. Of exported PDUs (link type
// 252) the tags in front of the message are read, too.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::report {

// As the modem sees it; an AT text that was sent is a command, one that was received an answer.
enum class way { unknown, sent, received };

// One frame. Texts and bytes belong to the reader and hold during the callback only.
struct capture_frame {
  std::uint32_t number = 0;  // from 1, as Wireshark counts
  std::uint64_t time = 0;    // nanoseconds; from whatever the modem's clock counts from
  std::string_view interface;
  std::uint16_t link_type = 0;
  std::string_view dissector;  // of an exported PDU; empty for others
  std::string_view protocol;   // protocol column of an exported PDU; mostly empty
  way direction = way::unknown;
  std::uint32_t full_size = 0;          // bytes of the message before it was cut, if it was
  std::span<const std::uint8_t> bytes;  // the message, without the tags of an exported PDU
};

struct capture_contents {
  std::uint32_t frames = 0;
  bool is_cut_off = false;  // the file ends inside a block, as when its writer was killed
};

// Reads the file at `path` from start to end and gives each frame to `take`. Throws
// host::user_error (bad_input) if the file cannot be read, is not a pcapng file or is damaged
// before its first frame; what is damaged later ends the reading as a file that is cut off.
capture_contents read_capture(const std::filesystem::path& path,
                              const std::function<void(const capture_frame&)>& take);

}  // namespace veltra::report
