#include "host/output/json_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "base/hex.h"
#include "implementation/json.h"
#include "tests/support/differential_cases.h"

namespace veltra::host {
namespace {

using kovax::json;

std::string made(std::string_view text) {
  std::string to = "before";
  append_json_text(to, text);
  return to;
}

std::string plain(std::string_view text) {
  return "before" + json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

TEST(json_text, every_character_is_written_as_the_json_library_writes_it) {
  for (int c = 0; c < 256; ++c) {
    const std::string text = {'a', static_cast<char>(c), 'b'};
    EXPECT_EQ(made(text), plain(text)) << c;
  }
  EXPECT_EQ(made({}), plain({}));
}

// Texts as modems trace them: mostly letters, with line ends, quotes and stray bytes.
TEST(json_text, random_texts_are_written_as_the_json_library_writes_them) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same texts every time
  for (unsigned long i = 0; i < test_support::differential_cases(); ++i) {
    std::string text(random() % 24, '\0');
    for (char& c : text) c = static_cast<char>(random() % 8 == 0 ? random() % 40 : random() % 128);
    if (random() % 8 == 0) text += static_cast<char>(random());
    ASSERT_EQ(made(text), plain(text)) << "case " << i;
  }
}

TEST(json_text, random_numbers_are_written_as_the_json_library_writes_them) {
  std::mt19937_64 random(1);  // NOLINT(cert-msc51-cpp)
  for (unsigned long i = 0; i < test_support::differential_cases(); ++i) {
    const std::uint64_t number = random() >> random() % 64;
    std::string to;
    append_json_number(to, number);
    ASSERT_EQ(to, json(number).dump());
  }
}

TEST(append_hex, random_bytes_are_written_as_digit_by_digit) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp)
  for (unsigned long i = 0; i < test_support::differential_cases(); ++i) {
    std::string wanted;
    std::vector<std::uint8_t> bytes(random() % 16);
    for (std::uint8_t& byte : bytes) {
      byte = static_cast<std::uint8_t>(random());
      for (const int digit : {byte / 16, byte % 16}) wanted += "0123456789abcdef"[digit];
    }
    std::string to;
    append_hex(to, bytes);
    ASSERT_EQ(to, wanted);
  }
}

}  // namespace
}  // namespace veltra::host
