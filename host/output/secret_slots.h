// secret_slots.h - room for TLS secrets in front of the packets they decrypt.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/output/secrets_place.h"
#include "host/output/tls_key_log.h"
#include "host/output/output_file.h"

namespace veltra::host {

// In a file, room is left - a slot - where the first IP packet would go, and again
// when a slot is half full; a slot is filled when it is three quarters full, and the
// last one at the end. Between a half and three quarters are the sessions that began
// before the next slot's place and were not over then.
class secret_slots : public secrets_place {
 public:
  // Bytes of key log in one slot: with two lines of 176 bytes a session, room for 46
  // sessions, of which some 34 are used.
  static constexpr std::size_t capacity = std::size_t{16} << 10;

  // `file` must have random access. Both must outlive the object.
  secret_slots(output_file& file, tls_key_log& key_log);

  // May leave room, a block that every reader skips until it is filled.
  void before_ip_packet(std::span<const std::uint8_t> packet) override;
  void write(std::string_view blocks) override;
  void random_bytes_came() override;
  void master_came() override;

  // What does not fit into the slot goes to the end of the file.
  void finish() override;
  void finish_without_room() override;
  bool flush() override;

 private:
  std::uint64_t reserve();
  void close_full_slot();
  void fill();
  void put();

  output_file& file_;
  tls_key_log& key_log_;
  std::string taken_;                  // from key_log_, and not in the file yet
  std::optional<std::uint64_t> slot_;  // offset; the one to fill
  std::optional<std::uint64_t> next_;
};

}  // namespace veltra::host
