// Inflating with the real zlib.
#include "plugin/database/gzip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstddef>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tests/support/tar_builder.h"

namespace veltra {
namespace {

using test_support::compress;
using test_support::wrapping;
using testing::StartsWith;

constexpr std::uint32_t plenty = 1'000'000;

constexpr const char* input_too_large = "size may use more memory than intended when decompressing";
constexpr const char* output_too_large =
    "size of output string will use more memory then intended when decompressing";

// The text with which decompressing fails, or nothing.
std::string failure_of(std::uint32_t limit, std::string_view input) {
  try {
    decompress_gzip(limit, input);
    return {};
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

bool is_refused(std::string_view input) {
  return !failure_of(plenty, input).empty();
}

// Text that compresses, but not to next to nothing.
std::string sample_text() {
  std::mt19937 random(7);
  std::string text;
  for (int line = 0; line < 150; ++line) {
    text += "{\"id\": " + std::to_string(random() % 10'000) + ", \"name\": \"buffer\"}\n";
  }
  return text;
}

TEST(gzip, a_gzip_stream_gives_its_bytes) {
  const std::string text = sample_text();
  EXPECT_EQ(decompress_gzip(plenty, compress(text)), text);
}

TEST(gzip, a_zlib_stream_is_accepted_as_well) {
  const std::string text = sample_text();
  EXPECT_EQ(decompress_gzip(plenty, compress(text, wrapping::zlib)), text);
}

TEST(gzip, a_stream_without_a_header_is_refused) {
  EXPECT_EQ(failure_of(plenty, compress(sample_text(), wrapping::none)), "incorrect header check");
}

TEST(gzip, stored_blocks_are_read) {
  const std::string text = sample_text();
  EXPECT_EQ(decompress_gzip(plenty, compress(text, wrapping::gzip, 0)), text);
}

TEST(gzip, nul_bytes_are_kept) {
  const std::string text("\0a\0\0b\0", 6);
  EXPECT_EQ(decompress_gzip(plenty, compress(text)), text);
}

TEST(gzip, a_stream_of_nothing_gives_nothing) {
  EXPECT_EQ(decompress_gzip(plenty, compress("")), "");
}

TEST(gzip, data_much_larger_than_its_stream_is_read_in_many_steps) {
  const std::string zeros(200'000, '\0');
  const std::string stream = compress(zeros);
  ASSERT_GT(zeros.size(), 100 * stream.size());
  EXPECT_EQ(decompress_gzip(plenty, stream), zeros);
}

TEST(gzip, header_fields_before_the_data_are_skipped) {
  const std::string stream = compress("text");
  constexpr unsigned char extra_name_and_comment = 0x04 | 0x08 | 0x10;
  std::string with_fields = stream.substr(0, 10);
  with_fields[3] = static_cast<char>(extra_name_and_comment);
  with_fields += std::string("\x03\x00xyz", 5) + std::string("db.tar\0", 7) + std::string("c\0", 2);
  with_fields += stream.substr(10);
  EXPECT_EQ(decompress_gzip(plenty, with_fields), "text");
}

TEST(gzip, whatever_follows_the_stream_is_ignored) {
  const std::string text = sample_text();
  EXPECT_EQ(decompress_gzip(plenty, compress(text) + "more"), text);
  EXPECT_EQ(decompress_gzip(plenty, compress(text) + compress("second member")), text);
}

TEST(gzip, plain_text_is_refused) {
  EXPECT_EQ(failure_of(plenty, R"({"meta": {"id": 1}})"), "incorrect header check");
}

TEST(gzip, empty_input_is_refused) {
  EXPECT_TRUE(is_refused(""));
}

TEST(gzip, a_single_byte_is_refused_unless_it_can_begin_a_stream) {
  for (int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(value);
    // RFC 1952: ID1. RFC 1950: method 8 with a window of at most 32 KiB.
    const bool can_begin = value == 0x1F || (value % 16 == 8 && value / 16 <= 7);
    EXPECT_EQ(is_refused(std::string_view(&byte, 1)), !can_begin) << value;
  }
}

TEST(gzip, two_bytes_are_refused_unless_they_can_begin_a_stream) {
  for (int value = 0; value < 65536; ++value) {
    const int first = value / 256;
    const std::string bytes{static_cast<char>(first), static_cast<char>(value % 256)};
    const bool can_begin =
        value == 0x1F8B || (first % 16 == 8 && first / 16 <= 7 && value % 31 == 0);
    EXPECT_EQ(is_refused(bytes), !can_begin) << value;
  }
}

TEST(gzip, a_third_byte_other_than_the_method_deflate_is_refused) {
  for (int value = 0; value < 256; ++value) {
    const std::string bytes{'\x1F', '\x8B', static_cast<char>(value)};
    EXPECT_EQ(is_refused(bytes), value != 8) << value;
  }
}

TEST(gzip, reserved_header_flags_are_refused) {
  for (int value = 0; value < 256; ++value) {
    const std::string bytes{'\x1F', '\x8B', '\x08', static_cast<char>(value)};
    EXPECT_EQ(is_refused(bytes), value >= 0x20) << value;
  }
}

TEST(gzip, a_stream_truncated_at_any_length_gives_what_came_before) {
  const std::string text = sample_text();
  for (const wrapping form : {wrapping::gzip, wrapping::zlib}) {
    const std::string stream = compress(text, form);
    std::size_t longest = 0;
    for (std::size_t length = 1; length < stream.size(); ++length) {
      const std::string part = decompress_gzip(plenty, stream.substr(0, length));
      ASSERT_THAT(text, StartsWith(part)) << length;
      ASSERT_GE(part.size(), longest) << length;
      longest = part.size();
    }
    EXPECT_EQ(longest, text.size()) << "a missing checksum costs no data";
  }
}

TEST(gzip, a_wrong_check_value_is_refused_with_the_message_of_zlib) {
  std::string stream = compress(sample_text());
  stream[stream.size() - 8] ^= 1;
  EXPECT_EQ(failure_of(plenty, stream), "incorrect data check");
}

TEST(gzip, a_wrong_length_is_refused_with_the_message_of_zlib) {
  std::string stream = compress(sample_text());
  stream[stream.size() - 1] ^= 1;
  EXPECT_EQ(failure_of(plenty, stream), "incorrect length check");
}

TEST(gzip, a_corrupt_block_is_refused_although_data_came_before_it) {
  // Two stored blocks; the second's length does not match its complement.
  const std::string text(100'000, 'x');
  std::string stream = compress(text, wrapping::gzip, 0);
  const std::size_t second = 10 + 5 + 65535;
  ASSERT_GT(stream.size(), second + 5);
  stream[second + 1] ^= 1;
  EXPECT_EQ(failure_of(plenty, stream), "invalid stored block lengths");
}

TEST(gzip, a_stream_that_asks_for_a_dictionary_is_refused) {
  // RFC 1950 with FDICT: CMF, FLG and the dictionary's id.
  EXPECT_TRUE(is_refused(std::string("\x78\xBB\x00\x00\x00\x01", 6)));
}

TEST(gzip, any_flipped_bit_gives_bytes_or_a_runtime_error) {
  const std::string stream = compress(sample_text().substr(0, 600));
  std::size_t refused = 0;
  for (std::size_t bit = 0; bit < 8 * stream.size(); ++bit) {
    std::string damaged = stream;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
    ASSERT_NO_THROW(refused += is_refused(damaged) ? 1U : 0U) << bit;
  }
  EXPECT_GT(refused, 4 * stream.size());
}

TEST(gzip, input_of_half_the_limit_is_taken_and_a_byte_more_is_refused) {
  const std::string stream = compress("small");
  const auto size = static_cast<std::uint32_t>(stream.size());
  EXPECT_EQ(decompress_gzip(2 * size, stream), "small");
  EXPECT_EQ(failure_of(2 * size - 1, stream), input_too_large);
  EXPECT_EQ(failure_of(size - 1, stream), input_too_large);
  EXPECT_EQ(failure_of(0, stream), input_too_large);
}

TEST(gzip, the_input_is_measured_before_it_is_looked_at) {
  EXPECT_EQ(failure_of(10, "no stream at all"), input_too_large);
}

TEST(gzip, output_may_fill_the_limit_and_not_a_byte_more) {
  const std::string zeros(10'000, '\0');
  const std::string stream = compress(zeros);
  const std::size_t step = 2 * stream.size();
  ASSERT_NE(zeros.size() % step, 0U);
  const auto rounded_up = static_cast<std::uint32_t>((zeros.size() / step + 1) * step);
  EXPECT_EQ(decompress_gzip(rounded_up, stream), zeros);
  EXPECT_EQ(failure_of(rounded_up - 1, stream), output_too_large);
}

TEST(gzip, output_that_fills_its_last_step_needs_room_for_one_more) {
  // Looks for data that is an exact number of steps long.
  std::string zeros;
  std::string stream;
  std::size_t step = 1;
  do {
    zeros.push_back('\0');
    stream = compress(zeros);
    step = 2 * stream.size();
  } while (zeros.size() % step != 0 && zeros.size() < 10'000);
  ASSERT_EQ(zeros.size() % step, 0U);

  const auto with_one_more = static_cast<std::uint32_t>(zeros.size() + step);
  EXPECT_EQ(decompress_gzip(with_one_more, stream), zeros);
  EXPECT_EQ(failure_of(with_one_more - 1, stream), output_too_large);
}

TEST(gzip, a_database_may_take_two_billion_bytes) {
  EXPECT_EQ(decompression_limit, 2'000'000'000U);

  // Memory that is reserved and never touched.
  constexpr std::size_t too_many = decompression_limit / 2 + 1;
  const std::unique_ptr<char[]> memory(new (std::nothrow) char[too_many]);
  if (!memory) {
    GTEST_SKIP() << "no room for an input of a gigabyte";
  }
  const std::string_view input(memory.get(), too_many);
  EXPECT_EQ(failure_of(decompression_limit, input), input_too_large);
}

// In pieces of `size` bytes.
std::string read_in_pieces(std::uint32_t limit, std::string_view input, std::size_t size) {
  gzip_reader reader(limit, input);
  std::string output;
  std::string piece(size, '\0');
  std::size_t count = size;
  while (count == size) {
    count = reader.read(piece);
    output.append(piece, 0, count);
  }
  EXPECT_EQ(reader.read(piece), 0U) << "after the end";
  return output;
}

TEST(gzip_reader, gives_the_same_bytes_in_pieces_of_any_size) {
  const std::string text = sample_text();
  const std::string stream = compress(text);
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{7}, text.size() - 1, text.size(), text.size() + 1}) {
    EXPECT_EQ(read_in_pieces(plenty, stream, size), text) << size;
    const std::string cut = stream.substr(0, stream.size() / 2);
    EXPECT_EQ(read_in_pieces(plenty, cut, size), decompress_gzip(plenty, cut)) << size;
  }
}

TEST(gzip_reader, has_the_limit_of_decompressing_at_once) {
  const std::string zeros(10'000, '\0');
  const std::string stream = compress(zeros);
  const std::size_t step = 2 * stream.size();
  const auto rounded_up = static_cast<std::uint32_t>((zeros.size() / step + 1) * step);
  EXPECT_EQ(read_in_pieces(rounded_up, stream, 13), zeros);
  EXPECT_THROW(read_in_pieces(rounded_up - 1, stream, 13), std::runtime_error);
  EXPECT_THROW(gzip_reader(20, std::string_view(stream)), std::runtime_error);
  EXPECT_THROW(gzip_reader(plenty, ""), std::runtime_error);
}

TEST(gzip_extent, goes_to_the_end_of_the_stream_and_says_whether_it_is_whole) {
  const std::string stream = compress(std::string(1'000'000, 'x'));
  EXPECT_EQ(measure_gzip(stream).size, stream.size());
  EXPECT_TRUE(measure_gzip(stream).is_whole);
  EXPECT_EQ(measure_gzip(stream + "more").size, stream.size());
  EXPECT_TRUE(measure_gzip(stream + "more").is_whole);
  const std::string cut = stream.substr(0, stream.size() - 1);
  EXPECT_EQ(measure_gzip(cut).size, cut.size());
  EXPECT_FALSE(measure_gzip(cut).is_whole);
  EXPECT_FALSE(measure_gzip("no stream").is_whole);
  EXPECT_FALSE(measure_gzip("").is_whole);
}

}  // namespace
}  // namespace veltra
