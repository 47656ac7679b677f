#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

#include "host/simulate/gzip.h"
#include "host/simulate/ustar_writer.h"

namespace veltra::host {
namespace {

using namespace std::string_literals;

// Inflates one gzip member, which must be all there is; empty on any fault.
std::string inflate_all(const std::string& compressed) {
  z_stream stream{};
  if (inflateInit2(&stream, 15 + 16) != Z_OK) return {};
  std::string input = compressed;
  std::string output(std::size_t{1} << 22, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  const int result = inflate(&stream, Z_FINISH);
  const bool whole = result == Z_STREAM_END && stream.avail_in == 0;
  output.resize(whole ? stream.total_out : 0);
  inflateEnd(&stream);
  return output;
}

unsigned sum_of_header(const std::string& archive) {
  unsigned sum = 0;
  for (std::size_t i = 0; i < 512; ++i) {
    sum += i >= 148 && i < 156 ? 0x20U : static_cast<unsigned char>(archive.at(i));
  }
  return sum;
}

TEST(gzip, what_was_compressed_inflates) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += std::to_string(i * 7919 % 10007);
  const std::string compressed = gzip(text);
  EXPECT_LT(compressed.size(), text.size());
  EXPECT_EQ(inflate_all(compressed), text);
}

TEST(gzip, bytes_that_do_not_compress_inflate_too) {
  std::string text;
  std::uint32_t state = 1;
  for (int i = 0; i < 200000; ++i) {
    state = state * 1664525 + 1013904223;
    text += static_cast<char>(state >> 24);
  }
  EXPECT_EQ(inflate_all(gzip(text)), text);
}

TEST(gzip, the_header_tells_neither_time_nor_name_nor_system) {
  EXPECT_EQ(gzip("text").substr(0, 10), "\x1F\x8B\x08\0\0\0\0\0\x02\xFF"s);
}

TEST(ustar_writer, the_header_has_each_field_in_its_place) {
  const std::string archive = ustar_archive("db.json", "hello");
  EXPECT_EQ(archive.substr(0, 100), "db.json" + std::string(93, '\0'));
  EXPECT_EQ(archive.substr(100, 8), "0000644\0"s);
  EXPECT_EQ(archive.substr(108, 8), "0000000\0"s);
  EXPECT_EQ(archive.substr(116, 8), "0000000\0"s);
  EXPECT_EQ(archive.substr(124, 12), "00000000005\0"s);
  EXPECT_EQ(archive.substr(136, 12), "00000000000\0"s);
  EXPECT_EQ(archive.substr(156, 1), "0");
  EXPECT_EQ(archive.substr(157, 100), std::string(100, '\0'));
  EXPECT_EQ(archive.substr(257, 8),
            "ustar\0"
            "00"s);
  EXPECT_EQ(archive.substr(265, 64), std::string(64, '\0'));
  EXPECT_EQ(archive.substr(329, 16),
            "0000000\0"
            "0000000\0"s);
  EXPECT_EQ(archive.substr(345, 167), std::string(167, '\0'));
}

TEST(ustar_writer, the_checksum_is_six_octal_digits_a_nul_and_a_blank) {
  const std::string archive = ustar_archive("db.json", "hello");
  const std::string field = archive.substr(148, 8);
  EXPECT_EQ(field.find_first_not_of("01234567"), 6U);
  EXPECT_EQ(field.substr(6), "\0 "s);
  EXPECT_EQ(std::stoul(field, nullptr, 8), sum_of_header(archive));
}

TEST(ustar_writer, content_is_padded_and_two_zero_blocks_end_the_archive) {
  for (const std::size_t size : {0U, 1U, 511U, 512U, 513U, 1024U}) {
    const std::string archive = ustar_archive("db.json", std::string(size, 'x'));
    const std::size_t padded = (size + 511) / 512 * 512;
    EXPECT_EQ(archive.size(), 512 + padded + 1024) << size;
    EXPECT_EQ(archive.substr(512, size), std::string(size, 'x'));
    EXPECT_EQ(archive.find_first_not_of('\0', 512 + size), std::string::npos) << size;
  }
}

TEST(ustar_writer, the_longest_name_still_ends_in_a_nul) {
  const std::string archive = ustar_archive(std::string(99, 'n'), "x");
  EXPECT_EQ(archive.substr(0, 100), std::string(99, 'n') + "\0"s);
}

TEST(ustar_writer_death, a_longer_name_breaks_the_contract) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(ustar_archive(std::string(100, 'n'), "x"), "name.size");
}

}  // namespace
}  // namespace veltra::host
