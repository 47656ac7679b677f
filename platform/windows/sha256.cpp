#include "platform/sha256.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <stdexcept>

// The first declares what those after it need.
// clang-format off
#include "platform/windows/system.h"
#include <bcrypt.h>
// clang-format on

namespace platform {

namespace {

void check(NTSTATUS status) {
  if (status < 0) throw std::runtime_error("the crypto library could not compute a SHA-256 digest");
}

}  // namespace

struct sha256_stream::state {
  struct provider_closer {
    void operator()(void* handle) const noexcept { BCryptCloseAlgorithmProvider(handle, 0); }
  };
  struct hash_closer {
    void operator()(void* handle) const noexcept { BCryptDestroyHash(handle); }
  };

  std::unique_ptr<void, provider_closer> provider;
  std::unique_ptr<void, hash_closer> hash;
};

sha256_stream::sha256_stream() : state_(std::make_unique<state>()) {
  BCRYPT_ALG_HANDLE opened = nullptr;
  check(BCryptOpenAlgorithmProvider(&opened, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
  state_->provider.reset(opened);
  BCRYPT_HASH_HANDLE created = nullptr;
  check(BCryptCreateHash(opened, &created, nullptr, 0, nullptr, 0, 0));
  state_->hash.reset(created);
}

sha256_stream::~sha256_stream() = default;

void sha256_stream::add(std::string_view bytes) {
  // A piece's size is a 32-bit number. The interface does not say const, but reads only.
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, std::numeric_limits<ULONG>::max());
    auto* const data = reinterpret_cast<PUCHAR>(const_cast<char*>(piece.data()));
    check(BCryptHashData(state_->hash.get(), data, static_cast<ULONG>(piece.size()), 0));
    bytes.remove_prefix(piece.size());
  }
}

sha256_digest sha256_stream::finish() {
  sha256_digest digest{};
  check(BCryptFinishHash(state_->hash.get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
  return digest;
}

sha256_digest sha256(std::string_view bytes) {
  sha256_stream stream;
  stream.add(bytes);
  return stream.finish();
}

}  // namespace platform
