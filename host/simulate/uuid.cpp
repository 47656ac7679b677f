#include "host/simulate/uuid.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>

namespace veltra::host {

namespace {

constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";

// FNV-1a, 64 bits. The second half of a UUID starts from another basis, the
// first one with its bits inverted, so that the halves differ.
constexpr std::uint64_t hash_basis = 0xCBF29CE484222325;
constexpr std::uint64_t hash_prime = 0x100000001B3;

std::uint64_t hash(std::string_view content, std::uint64_t basis) {
  for (const char c : content) basis = (basis ^ static_cast<unsigned char>(c)) * hash_prime;
  return basis;
}

constexpr bool is_hex_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

bool is_uuid(std::string_view text) noexcept {
  if (text.size() != form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (form[i] == '-' ? text[i] != '-' : !is_hex_digit(text[i])) return false;
  }
  return true;
}

std::string uuid_of_content(std::string_view content) {
  // RFC 9562, section 5.8: four bits of version, two of variant, the rest is free.
  const std::uint64_t high = (hash(content, hash_basis) & ~0xF000ULL) | 0x8000ULL;
  const std::uint64_t low = (hash(content, ~hash_basis) & ~(3ULL << 62)) | (2ULL << 62);
  return fmt::format("{:08x}-{:04x}-{:04x}-{:04x}-{:012x}", high >> 32, high >> 16 & 0xFFFF,
                     high & 0xFFFF, low >> 48, low & 0xFFFFFFFFFFFF);
}

}  // namespace veltra::host
