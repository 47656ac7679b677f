// secrets_place.h - where a capture's TLS secrets stand among its blocks.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace veltra::host {

// Takes a capture's blocks on their way into the file and puts the secrets in between.
// Wireshark decrypts a session only if it reads its secrets before its key exchange,
// but a modem traces them after it. One thread.
class secrets_place {
 public:
  secrets_place() = default;
  secrets_place(const secrets_place&) = delete;
  secrets_place& operator=(const secrets_place&) = delete;
  virtual ~secrets_place() = default;

  // An IP packet is about to be written.
  virtual void before_ip_packet(std::span<const std::uint8_t> packet) = 0;

  // One or more whole blocks, in the order of the capture.
  virtual void write(std::string_view blocks) = 0;

  // The key log was added to: random bytes, or a master secret.
  virtual void random_bytes_came() = 0;
  virtual void master_came() = 0;

  // Writes what is left, all blocks and all of the key log. Once only, as the last
  // thing before the file is complete.
  virtual void finish() = 0;

  // The same for a file that cannot grow and may have lost its end: what fits.
  virtual void finish_without_room() {}

  // Hands on what need not be held back, to the last byte. Returns true while
  // something is held back.
  virtual bool flush() = 0;
};

}  // namespace veltra::host
