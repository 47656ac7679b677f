// secret_slots.h - room for TLS secrets in front of the packets they decrypt.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "host/capture/tls_key_log.h"
#include "host/output_file.h"

namespace veltra::host {

// Wireshark decrypts a session only if its secrets stand in front of its key exchange,
// but a modem traces them after it. So room is left - a slot - where the first IP
// packet would go, and again when a slot is half full; a slot is filled when it is
// three quarters full, and the last one at the end. Between a half and three quarters
// are the sessions that began before the next slot's place and were not over then.
// One thread.
class secret_slots {
 public:
  // Bytes of key log in one slot: with two lines of 176 bytes a session, room for 46
  // sessions, of which some 34 are used.
  static constexpr std::size_t capacity = std::size_t{16} << 10;

  // `file` must have random access. Both must outlive the object.
  secret_slots(output_file& file, tls_key_log& key_log);

  // An IP packet is about to be written. The room left for it is a block that every
  // reader skips until it is filled.
  void before_ip_packet();

  // The key log was added to.
  void key_log_grew();

  // Writes the rest of the key log: into the slot, what does not fit there at the end
  // of the file. Once only, as the last thing before the file is complete.
  void finish();

 private:
  std::uint64_t reserve();
  void put(std::string_view key_log);

  output_file& file_;
  tls_key_log& key_log_;
  std::optional<std::uint64_t> slot_;  // offset; the one to fill
  std::optional<std::uint64_t> next_;
};

}  // namespace veltra::host
