// rotation.h - where one file of a series ends and the next begins, and where a run ends.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/output/piece.h"
#include "host/source/packet.h"

namespace veltra::host {

// When a file has had enough. None: never.
struct file_limits {
  std::optional<std::chrono::duration<double>> duration;
  std::optional<std::uint64_t> bytes;    // of the larger one of raw trace and capture
  std::optional<std::uint64_t> packets;  // decoded ones
  std::optional<std::uint32_t> files;

  bool is_limited() const { return duration || bytes || packets || files; }
};

struct rotation_options {
  file_limits piece;                      // `files` is how many are kept, the latest
  std::optional<std::uint32_t> interval;  // seconds of the clock on the wall

  bool has_boundary() const { return piece.duration || piece.bytes || piece.packets || interval; }
};

// What a decision depends on.
struct rotation_moment {
  std::chrono::steady_clock::time_point steady;
  std::chrono::system_clock::time_point wall;
  std::uint64_t capture_bytes = 0;  // of the capture's file; may lag behind
};

// Knows no clock and no file: time and sizes come with every call. Raw bytes count if the
// raw trace is kept. A boundary is in front of a raw packet, so that the raw pieces
// joined are the whole trace and a chunk's packets are in the same piece as the chunk;
// so a piece may be larger than its limit by a chunk. A piece begins with its first
// packet: silence makes no files. Not synchronised.
class rotation {
 public:
  rotation(rotation_options options, bool counts_raw_bytes)
      : options_(options), counts_raw_bytes_(counts_raw_bytes) {}

  // To be called before a packet is delivered: the piece that begins with it, if one does.
  std::optional<piece> before(const packet& packet, const rotation_moment& now);

  // True if the piece under way is over although no packet comes; the next one begins with
  // the next packet.
  bool ends(const rotation_moment& now);

  // The next packet begins a piece.
  void cut() { is_open_ = false; }

  std::uint32_t number() const { return number_; }  // of the latest piece; 0: none yet

 private:
  bool is_over(const rotation_moment& now) const;
  void begin(const rotation_moment& now);

  const rotation_options options_;
  const bool counts_raw_bytes_;
  std::uint32_t number_ = 0;
  bool is_open_ = false;
  std::chrono::steady_clock::time_point begin_{};
  std::chrono::steady_clock::time_point latest_packet_{};
  std::int64_t next_interval_ = 0;  // seconds since 1970
  std::uint64_t raw_bytes_ = 0;     // of the piece under way
  std::uint64_t packets_ = 0;       // likewise
};

}  // namespace veltra::host
