// Inflating arbitrary bytes: every outcome is bytes within the limit or a
// std::runtime_error, and what a truncated stream gives is how the whole one
// begins.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "plugin/database/gzip.h"

namespace {

// Room for a few hundred steps of a small input, and little enough to be quick.
constexpr std::uint32_t limit = 1U << 18U;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::optional<std::string> inflated(std::string_view input) {
  try {
    return veltra::decompress_gzip(limit, input);
  } catch (const std::runtime_error& error) {
    require(*error.what() != '\0');
    return std::nullopt;
  }
}

std::optional<std::string> inflated_in_pieces(std::string_view input) {
  try {
    veltra::gzip_reader reader(limit, input);
    std::string output;
    std::array<char, 100> piece;
    std::size_t count = piece.size();
    while (count == piece.size()) {
      count = reader.read(piece);
      output.append(piece.data(), count);
    }
    return output;
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's own name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const auto whole = inflated(input);
  require(!whole || (!input.empty() && whole->size() <= limit));
  require(whole == inflated_in_pieces(input));

  // Truncation may turn a success into a refusal only through the limit, which
  // counts in steps of the input's size.
  const auto part = inflated(input.substr(0, size - size / 3));
  require(!whole || !part || whole->starts_with(*part));
  return 0;
}
