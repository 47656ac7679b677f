#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/database/ustar.h"
#include "tests/support/tar_builder.h"

namespace veltra {
namespace {

using test_support::tar_header;
using testing::AnyOf;

ustar_block block_of(const std::string& bytes) {
  return ustar_block(bytes.data(), 512);
}

ustar_header parse(const tar_header& header) {
  return parse_ustar_header(block_of(header.block()));
}

// The error of a header whose checksum has been made to fit.
std::string_view error_of(tar_header header) {
  return parse(header.seal()).error;
}

// What the size field's text is read as, or the error.
std::string size_of(std::string_view field) {
  tar_header header;
  header.size(field).seal();
  const ustar_header result = parse(header);
  return result.error.empty() ? std::to_string(result.size) : std::string(result.error);
}

TEST(ustar_header, a_regular_file_gives_its_name_type_and_size) {
  const ustar_header result = parse(tar_header("modem.json", 1234));
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.name, "modem.json");
  EXPECT_EQ(result.type_flag, 48);
  EXPECT_EQ(result.size, 1234U);
}

TEST(ustar_header, a_directory_has_the_size_0_whatever_its_size_field_holds) {
  for (const std::string_view field : {"00000000000", "00000004000", "garbage", ""}) {
    tar_header header("databases/");
    header.type('5').size(field).seal();
    const ustar_header result = parse(header);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.name, "databases/");
    EXPECT_EQ(result.type_flag, 53);
    EXPECT_EQ(result.size, 0U);
  }
}

TEST(ustar_header, a_block_of_zeros_is_an_end_block) {
  const ustar_header result = parse_ustar_header(block_of(std::string(512, '\0')));
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.name, "");
  EXPECT_EQ(result.type_flag, -1);
  EXPECT_EQ(result.size, 0U);
}

TEST(ustar_header, a_block_with_one_byte_set_is_not_an_end_block) {
  for (const std::size_t offset : {0U, 255U, 511U}) {
    std::string block(512, '\0');
    block[offset] = '\1';
    EXPECT_EQ(parse_ustar_header(block_of(block)).error, "not a ustar archive") << offset;
  }
}

TEST(ustar_header, the_magic_with_a_nul_and_version_00_is_accepted) {
  tar_header header;
  header.set(257, std::string_view("ustar\00000", 8)).seal();
  EXPECT_EQ(parse(header).error, "");
}

TEST(ustar_header, the_magic_with_a_space_and_version_space_nul_is_accepted) {
  tar_header header;
  header.set(257, std::string_view("ustar  \0", 8)).seal();
  EXPECT_EQ(parse(header).error, "");
}

TEST(ustar_header, only_a_nul_or_a_space_may_end_the_magic) {
  for (int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(value);
    tar_header header;
    header.set(262, std::string_view(&byte, 1));
    EXPECT_EQ(error_of(header), value == 0 || value == ' ' ? "" : "not a ustar archive") << value;
  }
}

TEST(ustar_header, every_letter_of_the_magic_counts) {
  for (std::size_t offset = 257; offset < 262; ++offset) {
    for (const std::string_view other : {std::string_view("U"), std::string_view("\0", 1)}) {
      tar_header header;
      EXPECT_EQ(error_of(header.set(offset, other)), "not a ustar archive") << offset;
    }
  }
}

TEST(ustar_header, a_version_byte_is_one_of_a_few) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const bool first_is_good = ((first - 0x20) & 0xEF) == 0;
      const bool second_is_good = (second & 0xCF) == 0 && second != 0x10;
      const std::string version{static_cast<char>(first), static_cast<char>(second)};
      tar_header header;
      ASSERT_EQ(error_of(header.set(263, version)),
                first_is_good && second_is_good ? "" : "invalid ustar version")
          << first << " " << second;
    }
  }
}

TEST(ustar_header, the_checksum_is_octal_from_the_first_byte_of_the_field) {
  const tar_header good;
  const std::string digits = good.checksum_digits();
  ASSERT_EQ(digits.size(), 6U);
  ASSERT_EQ(digits[0], '0');
  const auto nul = std::string(1, '\0');

  const std::vector<std::pair<std::string, std::string_view>> forms = {
      {digits + nul + " ", ""},                 // the usual form
      {digits + " " + nul, ""},                 // an older one
      {digits + nul + nul, ""},                 //
      {digits + "  ", ""},                      //
      {digits + nul + "7", ""},                 // what follows the terminator is not looked at
      {digits.substr(1) + nul, ""},             // fewer digits
      {"0" + digits + nul, ""},                 // seven digits
      {"0" + digits + " ", ""},                 //
      {"00" + digits, "corrupt chksum field"},  // eight
      {"77777777", "corrupt chksum field"},
      {" " + digits + nul, "corrupt chksum field"},
      {"  " + digits.substr(1) + nul, "corrupt chksum field"},
      {nul + digits + nul, "corrupt chksum field"},
      {"", "corrupt chksum field"},
      {"        ", "corrupt chksum field"},
      {digits + "8" + nul, "corrupt chksum field"},
      {digits + "9" + nul, "corrupt chksum field"},
      {digits + "/" + nul, "corrupt chksum field"},
      {digits + "\n" + nul, "corrupt chksum field"},
      {"-" + digits + nul, "corrupt chksum field"},
      {"0x" + digits, "corrupt chksum field"},
      {"\x80" + digits, "corrupt chksum field"},  // base-256, as some writers put large numbers
      {"0" + nul, "checksum mismatch"},
      {"7777777" + nul, "checksum mismatch"},
  };
  for (const auto& [field, error] : forms) {
    tar_header header;
    EXPECT_EQ(parse(header.checksum(field)).error, error) << testing::PrintToString(field);
  }
}

TEST(ustar_header, a_checksum_that_is_off_by_one_is_a_mismatch) {
  const std::uint32_t sum = tar_header().sum();
  for (const std::uint32_t other : {sum - 1, sum + 1}) {
    tar_header header;
    EXPECT_EQ(parse(header.checksum(fmt::format("{:06o}", other))).error, "checksum mismatch");
  }
}

TEST(ustar_checksum, counts_the_checksum_field_as_spaces) {
  EXPECT_EQ(ustar_checksum(block_of(std::string(512, '\0'))), 8U * 0x20);
  std::string block(512, '\0');
  block.replace(148, 8, 8, '\xFF');
  EXPECT_EQ(ustar_checksum(block_of(block)), 8U * 0x20);
  block[147] = '\1';
  block[156] = '\2';
  EXPECT_EQ(ustar_checksum(block_of(block)), 8U * 0x20 + 3);
}

TEST(ustar_checksum, takes_the_bytes_as_unsigned) {
  EXPECT_EQ(ustar_checksum(block_of(std::string(512, '\xFF'))), 504U * 0xFF + 8U * 0x20);
}

TEST(ustar_header, a_name_of_99_bytes_is_accepted) {
  const std::string longest(99, 'n');
  const ustar_header result = parse(tar_header(longest));
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.name, longest);
}

TEST(ustar_header, a_name_of_100_bytes_is_too_long) {
  EXPECT_EQ(error_of(tar_header(std::string(100, 'n'))), "file name too long");
}

TEST(ustar_header, a_byte_in_the_last_place_of_the_name_is_too_long_even_after_a_nul) {
  tar_header header("short");
  EXPECT_EQ(error_of(header.set(99, "x")), "file name too long");
}

TEST(ustar_header, a_name_split_over_the_prefix_is_too_long) {
  tar_header header;
  EXPECT_EQ(error_of(header.set(345, "folder")), "file name too long");
}

TEST(ustar_header, a_prefix_is_empty_when_its_first_byte_is_nul) {
  tar_header header;
  EXPECT_EQ(error_of(header.set(346, "leftover")), "");
}

TEST(ustar_header, a_name_ends_at_its_first_nul) {
  EXPECT_EQ(parse(tar_header(std::string_view("a.json\0rest", 11))).name, "a.json");
  EXPECT_EQ(parse(tar_header("")).name, ".");
}

TEST(ustar_header, the_name_is_normalized) {
  EXPECT_EQ(parse(tar_header("./../a.json")).name, "a.json");
}

TEST(ustar_header, every_type_but_file_and_directory_is_unimplemented) {
  for (int value = 0; value < 256; ++value) {
    tar_header header;
    header.type(static_cast<char>(value));
    EXPECT_EQ(error_of(header), value == '0' || value == '5' ? "" : "unimplemented file type")
        << value;
  }
}

TEST(ustar_header, the_size_is_octal_from_the_first_byte_of_the_field) {
  const auto nul = std::string(1, '\0');
  EXPECT_EQ(size_of("00000000144"), "100");
  EXPECT_EQ(size_of("00000000144 "), "100");
  EXPECT_EQ(size_of("144"), "100");
  EXPECT_EQ(size_of("144 garbage"), "100");
  EXPECT_EQ(size_of("0"), "0");
  EXPECT_EQ(size_of("00000000000"), "0");
  EXPECT_EQ(size_of("000000000144"), "corrupt file size field") << "twelve digits";
  EXPECT_EQ(size_of("777777777777"), "corrupt file size field") << "twelve digits";
  EXPECT_EQ(size_of(" 0000000144"), "corrupt file size field");
  EXPECT_EQ(size_of(""), "corrupt file size field");
  EXPECT_EQ(size_of("            "), "corrupt file size field");
  EXPECT_EQ(size_of("0000000014x"), "corrupt file size field");
  EXPECT_EQ(size_of("00000000148"), "corrupt file size field");
  EXPECT_EQ(size_of("0000000014\n"), "corrupt file size field");
  EXPECT_EQ(size_of("-0000000144"), "corrupt file size field");
  EXPECT_EQ(size_of("\x80" + nul + nul + "\1"), "corrupt file size field") << "base-256";
}

TEST(ustar_header, a_size_of_2_gib_or_more_is_too_large) {
  EXPECT_EQ(size_of("17777777777"), "2147483647");
  EXPECT_EQ(size_of("20000000000"), "file too large");
  EXPECT_EQ(size_of("37777777777"), "file too large") << "the largest of 32 bits";
  EXPECT_EQ(size_of("37777777777 "), "file too large");
}

TEST(ustar_header, a_size_beyond_32_bits_is_corrupt) {
  EXPECT_EQ(size_of("40000000000"), "corrupt file size field");
  EXPECT_EQ(size_of("77777777777"), "corrupt file size field");
  EXPECT_EQ(size_of("77777777777 "), "corrupt file size field");
}

TEST(ustar_header, the_first_fault_in_order_is_reported) {
  // Everything is wrong at first; each repair shows the next fault.
  tar_header header;
  header.set(257, "USTAR").set(263, "xx").type('2').size("");
  header.name(std::string(100, 'n')).set(345, "p").checksum("");
  EXPECT_EQ(parse(header).error, "not a ustar archive");
  header.set(257, "ustar");
  EXPECT_EQ(parse(header).error, "invalid ustar version");
  header.set(263, "00");
  EXPECT_EQ(parse(header).error, "corrupt chksum field");
  header.checksum("0");
  EXPECT_EQ(parse(header).error, "checksum mismatch");
  EXPECT_EQ(parse(header.seal()).error, "file name too long");
  header.name("a.json");
  EXPECT_EQ(parse(header.seal()).error, "file name too long") << "the prefix";
  header.set(345, std::string_view("\0", 1));
  EXPECT_EQ(parse(header.seal()).error, "unimplemented file type");
  header.type('0');
  EXPECT_EQ(parse(header.seal()).error, "corrupt file size field");
  header.size("20000000000");
  EXPECT_EQ(parse(header.seal()).error, "file too large");
  header.size("17777777777");
  EXPECT_EQ(parse(header.seal()).error, "");
}

TEST(ustar_header, any_byte_changed_is_a_listed_error_or_changes_nothing) {
  const tar_header good;
  const ustar_header expected = parse(good);
  ASSERT_EQ(expected.error, "");
  std::size_t unnoticed = 0;
  for (std::size_t offset = 0; offset < 512; ++offset) {
    for (int change = 1; change < 256; ++change) {
      const char byte = static_cast<char>(good.block()[offset] ^ change);
      tar_header header = good;
      const ustar_header result = parse(header.set(offset, std::string_view(&byte, 1)));
      if (!result.error.empty()) {
        ASSERT_THAT(result.error, AnyOf("not a ustar archive", "invalid ustar version",
                                        "corrupt chksum field", "checksum mismatch"))
            << offset;
        continue;
      }
      ++unnoticed;
      ASSERT_EQ(result.name, expected.name) << offset;
      ASSERT_EQ(result.type_flag, expected.type_flag) << offset;
      ASSERT_EQ(result.size, expected.size) << offset;
    }
  }
  // The NUL behind the checksum may be a space, and the byte behind that anything.
  EXPECT_EQ(unnoticed, 1U + 255U);
}

TEST(ustar_header, the_fields_that_do_not_matter_may_hold_anything) {
  const ustar_header expected = parse(tar_header());
  struct range {
    std::size_t begin;
    std::size_t end;
  };
  // mode, uid and gid; mtime; linkname; uname to devminor; prefix and padding.
  for (const range ignored :
       {range{100, 124}, range{136, 148}, range{157, 257}, range{265, 345}, range{346, 512}}) {
    for (std::size_t offset = ignored.begin; offset < ignored.end; ++offset) {
      tar_header header;
      header.set(offset, "\xA5").seal();
      const ustar_header result = parse(header);
      ASSERT_EQ(result.error, "") << offset;
      ASSERT_EQ(result.name, expected.name) << offset;
      ASSERT_EQ(result.type_flag, expected.type_flag) << offset;
      ASSERT_EQ(result.size, expected.size) << offset;
    }
  }
}

TEST(normalize_member_name, leaves_out_what_leads_out_of_the_folder) {
  EXPECT_EQ(normalize_member_name("a.json"), "a.json");
  EXPECT_EQ(normalize_member_name("/a.json"), "a.json");
  EXPECT_EQ(normalize_member_name("///a.json"), "a.json");
  EXPECT_EQ(normalize_member_name("./a.json"), "a.json");
  EXPECT_EQ(normalize_member_name("../a.json"), "a.json");
  EXPECT_EQ(normalize_member_name("../.././/../a/b.json"), "a/b.json");
}

TEST(normalize_member_name, is_a_dot_when_nothing_is_left) {
  EXPECT_EQ(normalize_member_name(""), ".");
  EXPECT_EQ(normalize_member_name("/"), ".");
  EXPECT_EQ(normalize_member_name("./"), ".");
  EXPECT_EQ(normalize_member_name("../"), ".");
  EXPECT_EQ(normalize_member_name(".."), ".");
  EXPECT_EQ(normalize_member_name("../.."), ".");
  EXPECT_EQ(normalize_member_name("/.."), ".");
  EXPECT_EQ(normalize_member_name("."), ".");
}

TEST(normalize_member_name, leaves_everything_else_alone) {
  EXPECT_EQ(normalize_member_name("a/../../b"), "a/../../b");
  EXPECT_EQ(normalize_member_name("a/.."), "a/..");
  EXPECT_EQ(normalize_member_name("..a"), "..a");
  EXPECT_EQ(normalize_member_name(".../a"), ".../a");
  EXPECT_EQ(normalize_member_name(".a"), ".a");
  EXPECT_EQ(normalize_member_name("a//b/"), "a//b/");
  EXPECT_EQ(normalize_member_name("..\\a"), "..\\a");
}

}  // namespace
}  // namespace veltra
