// torn_capture.h - the whole records of a capture whose writer did not come to its end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// Reads a pcapng file (little-endian, as this program writes them) in pieces of any size and
// finds the end of its last whole block. One thread.
class torn_capture {
 public:
  // Wireshark's limit of a packet, a comment and the block around them fit in.
  static constexpr std::uint32_t max_block = 16U << 20;

  // The next bytes of the file. False once a block is broken: the rest is of no use.
  bool add(std::string_view bytes);

  // Bytes of whole blocks from the start on. 0: the file is not a capture.
  std::uint64_t whole_bytes() const { return whole_bytes_; }
  std::uint64_t packets() const { return packets_; }
  // When the last packet that is whole came, in nanoseconds since 1970 or of the modem's clock,
  // as the capture has it.
  std::uint64_t last_time() const;
  bool is_complete() const { return has_statistics_; }

  // The statistics blocks that the end of the capture lacks; how many packets were lost
  // before they reached the file is not known.
  std::string missing_statistics() const;

 private:
  struct interface {
    std::uint64_t received = 0;
    std::uint64_t last_time = 0;   // as in the packet's block
    std::int64_t time_offset = 0;  // seconds
  };

  bool take_block(std::string_view block);

  std::string pending_;  // the beginning of a block
  bool is_broken_ = false;
  std::uint64_t whole_bytes_ = 0;
  std::uint64_t packets_ = 0;
  bool has_statistics_ = false;
  std::vector<interface> interfaces_;
};

}  // namespace veltra::host
