// tls_key_log.h - from traced key material to lines that Wireshark decrypts with.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace veltra::host {

// Collects the random bytes and master secrets of TLS sessions up to version
// 1.2 in their order of arrival and pairs them. One thread.
//
// The trace does not say which secret belongs to which handshake, only when
// each was seen: a handshake's random bytes first, its master secret when the
// keys are exchanged. So consecutive masters belong, in their order, to the
// latest random bytes that have no master yet. What is left over then -
// handshakes that were broken off, resumed with a known master, or traced the
// other way round - gets the nearest master: a line that fits no handshake does
// no harm, and one that fits makes a session readable.
class tls_key_log {
 public:
  // Sizes after RFC 5246: two randoms of 32 bytes (7.4.1.2) and the master
  // secret (8.1).
  static constexpr std::size_t randbytes_size = 64;
  static constexpr std::size_t master_size = 48;

  // Each takes a copy of one trace's bytes. Returns false, and ignores them,
  // when their number is wrong.
  bool add_randbytes(std::span<const std::uint8_t> bytes);
  bool add_session_master(std::span<const std::uint8_t> bytes);

  // The key log so far: for each handshake one line "CLIENT_RANDOM <random>
  // <master>" for either half of its random bytes, since some modems trace the
  // client's half first and some the server's. No line twice; each ends in LF;
  // empty without a pair. The format is that of NSS key logs.
  std::string text() const;

  // Different masters, and how many of them found no handshake.
  std::size_t masters() const { return master_numbers_.size(); }
  std::size_t unused_masters() const;

 private:
  using randbytes = std::array<std::uint8_t, randbytes_size>;
  using master = std::array<std::uint8_t, master_size>;
  struct event {
    bool is_master;
    std::size_t number;  // in handshakes_ or masters_
  };

  // For each handshake the place in events_ of its master, or none.
  std::vector<std::size_t> pair_up() const;

  std::vector<event> events_;
  std::vector<randbytes> handshakes_;
  std::vector<master> masters_;
  std::map<randbytes, std::size_t> handshake_numbers_;
  std::map<master, std::size_t> master_numbers_;
};

}  // namespace veltra::host
