// hex.h - bytes as hexadecimal digits.
#pragma once

#include <array>
#include <cstdint>
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
  std::size_t at = to.size();
  to.resize(at + 2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    to[at++] = pairs[byte][0];
    to[at++] = pairs[byte][1];
  }
}

}  // namespace veltra
