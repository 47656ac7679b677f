// streamed_secrets.h - TLS secrets in a capture that is read while it is written.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "host/output/secrets_place.h"
#include "host/output/tls_key_log.h"
#include "host/output/output_file.h"

namespace veltra::host {

// What has been read cannot be changed any more. So from a server's hello on, which
// comes before the key exchange, all blocks are held back until the session's secrets
// are there, or for as long as a person does not mind.
class streamed_secrets : public secrets_place {
 public:
  using clock = std::function<std::chrono::steady_clock::time_point()>;

  // How long blocks are held back, as flush() looks at it, and how many bytes of them.
  static constexpr std::chrono::milliseconds patience{1000};
  static constexpr std::size_t most_held = std::size_t{1} << 20;

  // Both must outlive the object. `now` is replaced in tests.
  streamed_secrets(output_file& file, tls_key_log& key_log,
                   clock now = std::chrono::steady_clock::now);

  void before_ip_packet(std::span<const std::uint8_t> packet) override;
  void write(std::string_view blocks) override;
  void random_bytes_came() override;
  void master_came() override;
  void finish() override;
  bool flush() override;

 private:
  bool holds() const { return awaited_ != 0; }
  void put_secrets(const std::string& key_log);
  void release();

  output_file& file_;
  tls_key_log& key_log_;
  const clock now_;
  std::string held_;
  std::size_t awaited_ = 0;  // masters
  std::chrono::steady_clock::time_point since_{};
};

}  // namespace veltra::host
