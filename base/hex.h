// hex.h - bytes as hexadecimal digits.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

namespace veltra {

// Appends two lower-case digits for each byte. Any thread.
inline void append_hex(std::string& to, std::span<const std::uint8_t> bytes) {
  static constexpr auto pairs = [] {
    constexpr char digits[] = "0123456789abcdef";
    std::array<std::array<char, 2>, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = {digits[i >> 4], digits[i & 15]};
    return table;
  }();
  const std::size_t begin = to.size();
  to.resize(begin + 2 * bytes.size());
  char* at = to.data() + begin;
  for (const std::uint8_t byte : bytes) {
    std::memcpy(at, pairs[byte].data(), 2);
    at += 2;
  }
}

}  // namespace veltra
