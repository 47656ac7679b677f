// secrets_slot.h - room for TLS secrets in front of the packets they decrypt.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "host/output_file.h"

namespace veltra::host {

// Wireshark decrypts a session only if its secrets stand in front of the
// handshake, but a modem traces them after it. So room is left where the first
// IP packet would go, and filled when the capture is complete. One thread.
class secrets_slot {
 public:
  // Bytes of key log that fit without moving the packets behind: with two lines
  // of 176 bytes a session, some 46 sessions.
  static constexpr std::size_t capacity = std::size_t{16} << 10;

  bool reserved() const noexcept { return reserved_; }

  // Leaves room at the end of `file`, which must have random access. Until it
  // is filled the room is a block that every reader skips. Once only.
  void reserve(output_file& file);

  // Puts the key log into the room, the rest of which becomes comment lines. A
  // longer one moves all that follows, at the cost of one copy of the file.
  // Without room reserved, appends; an empty text leaves everything as it is.
  // Once only, as the last thing before the file is complete.
  void fill(output_file& file, std::string_view key_log);

 private:
  bool reserved_ = false;
  std::uint64_t offset_ = 0;
};

}  // namespace veltra::host
