#include "host/simulate/archive_writer.h"

#include <gtest/gtest.h>

#include <string>

#include "plugin/database/gzip.h"
#include "plugin/database/ustar.h"

namespace veltra::host {
namespace {

using namespace std::string_literals;

std::string inflated(const std::string& compressed) {
  return decompress_gzip(decompression_limit, compressed);
}

TEST(gzip, what_was_compressed_inflates) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += std::to_string(i * 7919 % 10007);
  const std::string compressed = gzip(text);
  EXPECT_LT(compressed.size(), text.size());
  EXPECT_EQ(inflated(compressed), text);
}

TEST(gzip, bytes_that_do_not_compress_inflate_too) {
  std::string text;
  std::uint32_t state = 1;
  for (int i = 0; i < 200000; ++i) {
    state = state * 1664525 + 1013904223;
    text += static_cast<char>(state >> 24);
  }
  EXPECT_EQ(inflated(gzip(text)), text);
}

TEST(gzip, the_header_carries_no_time_name_or_system) {
  EXPECT_EQ(gzip("text").substr(0, 10), "\x1F\x8B\x08\0\0\0\0\0\x02\xFF"s);
}

TEST(ustar_archive, each_field_of_the_header_is_in_its_place) {
  const std::string archive = ustar_archive("db.json", "hello");
  const ustar_block header(archive.data(), ustar_block_size);
  EXPECT_EQ(archive.substr(0, 100), "db.json" + std::string(93, '\0'));
  EXPECT_EQ(archive.substr(100, 24),
            "0000644\0"
            "0000000\0"
            "0000000\0"s);
  EXPECT_EQ(archive.substr(124, 24),
            "00000000005\0"
            "00000000000\0"s);
  const std::string checksum = archive.substr(148, 8);
  EXPECT_EQ(checksum.find_first_not_of("01234567"), 6U);
  EXPECT_EQ(checksum.substr(6), "\0 "s);
  EXPECT_EQ(std::stoul(checksum, nullptr, 8), ustar_checksum(header));
  EXPECT_EQ(archive.substr(156, 101), "0"s + std::string(100, '\0'));
  EXPECT_EQ(archive.substr(257, 72),
            "ustar\0"
            "00"s +
                std::string(64, '\0'));
  EXPECT_EQ(archive.substr(329, 183),
            "0000000\0"
            "0000000\0"s +
                std::string(167, '\0'));
}

TEST(ustar_archive, content_is_padded_and_two_zero_blocks_end_the_archive) {
  for (const std::size_t size : {0U, 1U, 511U, 512U, 513U, 1024U}) {
    const std::string archive = ustar_archive("db.json", std::string(size, 'x'));
    const std::size_t padded = (size + 511) / 512 * 512;
    EXPECT_EQ(archive.size(), 512 + padded + 1024) << size;
    EXPECT_EQ(archive.substr(512, size), std::string(size, 'x'));
    EXPECT_EQ(archive.find_first_not_of('\0', 512 + size), std::string::npos) << size;
  }
}

TEST(ustar_archive, the_longest_name_still_ends_in_a_nul) {
  EXPECT_EQ(ustar_archive(std::string(99, 'n'), "x").substr(0, 100), std::string(99, 'n') + "\0"s);
}

TEST(ustar_archive_death, a_longer_name_breaks_the_contract) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(ustar_archive(std::string(100, 'n'), "x"), "name.size");
}

}  // namespace
}  // namespace veltra::host
