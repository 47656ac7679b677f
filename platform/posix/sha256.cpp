#include "platform/sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace platform {

namespace {

void check(int done) {
  if (done != 1) throw std::runtime_error("the crypto library could not compute a SHA-256 digest");
}

}  // namespace

struct sha256_stream::state {
  struct context_deleter {
    void operator()(EVP_MD_CTX* digest) const noexcept { EVP_MD_CTX_free(digest); }
  };

  std::unique_ptr<EVP_MD_CTX, context_deleter> context{EVP_MD_CTX_new()};
};

sha256_stream::sha256_stream() : state_(std::make_unique<state>()) {
  check(state_->context ? EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr) : 0);
}

sha256_stream::~sha256_stream() = default;

void sha256_stream::add(std::string_view bytes) {
  check(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()));
}

sha256_digest sha256_stream::finish() {
  sha256_digest digest{};
  unsigned int size = 0;
  check(EVP_DigestFinal_ex(state_->context.get(), digest.data(), &size));
  check(size == digest.size() ? 1 : 0);
  return digest;
}

sha256_digest sha256(std::string_view bytes) {
  sha256_stream stream;
  stream.add(bytes);
  return stream.finish();
}

}  // namespace platform
