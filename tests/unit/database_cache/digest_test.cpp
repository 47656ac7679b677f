#include "plugin/database/digest.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

// Examples of FIPS 180-4 as NIST publishes them.
constexpr const char* digest_of_nothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* digest_of_abc =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(digest_test, the_digest_is_64_lower_case_digits_in_digest_order) {
  EXPECT_EQ(sha256_hex("abc"), digest_of_abc);
  EXPECT_EQ(sha256_hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(sha256_hex(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(digest_test, the_digest_of_no_bytes_matches_an_empty_file) {
  EXPECT_EQ(sha256_hex(""), digest_of_nothing);
  EXPECT_TRUE(database_file_intact("", digest_of_nothing));
}

TEST(digest_test, bytes_are_digested_whole_with_nul_and_line_ends) {
  EXPECT_NE(sha256_hex(std::string_view("a\0b", 3)), sha256_hex("a"));
  EXPECT_NE(sha256_hex("a\r\nb"), sha256_hex("a\nb"));
}

TEST(digest_test, only_the_exact_digest_is_intact) {
  const std::string digest = digest_of_abc;
  EXPECT_TRUE(database_file_intact("abc", digest));
  EXPECT_FALSE(database_file_intact("abd", digest));
  std::string upper = digest;
  for (char& c : upper) c = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  EXPECT_FALSE(database_file_intact("abc", upper));
  EXPECT_FALSE(database_file_intact("abc", " " + digest));
  EXPECT_FALSE(database_file_intact("abc", digest + " "));
  EXPECT_FALSE(database_file_intact("abc", digest + '\0'));
  EXPECT_FALSE(database_file_intact("abc", "sha256:" + digest));
  EXPECT_FALSE(database_file_intact("abc", digest.substr(0, 63)));
  EXPECT_FALSE(database_file_intact("abc", ""));
}

}  // namespace
}  // namespace veltra
