// sha256.h - the SHA-256 digest (FIPS 180-4), from the system's own crypto library.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

namespace platform {

// 256 bits in digest order: the most significant byte first.
using sha256_digest = std::array<std::uint8_t, 32>;

// Returns the digest of `bytes`, which may be empty, in one pass. Any thread.
// Throws std::runtime_error if the crypto library refuses, which it does only
// when it cannot get memory or its configuration forbids the algorithm.
sha256_digest sha256(std::string_view bytes);

// The same of bytes that come in pieces. One thread; throws as sha256() does.
class sha256_stream {
 public:
  sha256_stream();
  sha256_stream(const sha256_stream&) = delete;
  sha256_stream& operator=(const sha256_stream&) = delete;
  ~sha256_stream();

  void add(std::string_view bytes);

  // The digest of everything added; nothing can be added afterwards.
  sha256_digest finish();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace platform
