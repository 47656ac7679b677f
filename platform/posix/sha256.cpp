#include "platform/sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace platform {

sha256_digest sha256(std::string_view bytes) {
  sha256_digest digest{};
  unsigned int size = 0;
  const int done =
      EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr);
  if (done != 1 || size != digest.size()) {
    throw std::runtime_error("the crypto library could not compute a SHA-256 digest");
  }
  return digest;
}

}  // namespace platform
