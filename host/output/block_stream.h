// block_stream.h - a capture's blocks in their order, TLS secrets before the packets that
// they decrypt.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "host/output/output_file.h"
#include "host/output/tls_key_log.h"

namespace veltra::host {

// Wireshark decrypts a session only if it reads the secrets before the key exchange, and
// a modem traces them after it. So from a server's hello on, which precedes the key
// exchange, all blocks are held back until the session's secrets are there, or until a
// limit. One thread.
class block_stream {
 public:
  struct limits {
    std::size_t max_held;  // bytes
    // How long blocks are held back in a run whose output somebody may read meanwhile, as
    // flush() sees it; none: as long as max_held allows.
    std::optional<std::chrono::milliseconds> max_wait;
  };

  // A reader of a stream waits for as long as a person does not mind; a handshake over
  // a slow cell takes longer, which a file has time for.
  static constexpr limits for_stream{std::size_t{1} << 20, std::chrono::seconds(1)};
  static constexpr limits for_live_file{std::size_t{16} << 20, std::chrono::seconds(10)};
  static constexpr limits for_file{std::size_t{16} << 20, std::nullopt};

  using time_point = std::chrono::steady_clock::time_point;

  // Both must outlive the object.
  block_stream(output_file& file, tls_key_log& key_log, limits how_long);

  // An IP packet is about to be written.
  void before_ip_packet(std::span<const std::uint8_t> packet);

  // One or more whole blocks, in the order of the capture: what `append(to)` appends to a
  // string.
  template <typename Append>
  void write(const Append& append) {
    if (!holds()) {
      file_.write_with(append);
      return;
    }
    append(held_);
    if (held_.size() > limits_.max_held) release();
  }

  // Writes the secrets of the series' latest sessions, whose handshake or secret may be in
  // the capture before this one.
  void repeat_secrets() { put_secrets(key_log_.recent()); }

  // The key log was added to: random bytes, or a master secret.
  void random_bytes_came();
  void master_came();

  // Hands on everything that is not held back, or has been for long enough. Returns true
  // while something is held back.
  bool flush(time_point now);

  // Writes what is left, all blocks and all of the key log. Once.
  void finish();

 private:
  bool holds() const { return awaited_masters_ != 0; }
  void put_secrets(const std::string& key_log);
  void release();

  output_file& file_;
  tls_key_log& key_log_;
  const limits limits_;
  std::string held_;
  std::size_t awaited_masters_ = 0;
  std::optional<time_point> held_since_;  // when flush() first saw it
};

}  // namespace veltra::host
