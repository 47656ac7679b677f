#include "platform/file.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/stream_writer.h"
#include "tests/support/temp_directory.h"

namespace {

struct closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_pointer = std::unique_ptr<std::FILE, closer>;

// Writes five bytes, two of them a line end of another system, and reads all but the
// first.
void expect_written_and_read_back(std::FILE* file) {
  std::fputs("a\r\nb\n", file);
  ASSERT_EQ(platform::seek_file(file, 1), 0);
  char bytes[8] = {};
  EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, file), 4U);
  EXPECT_STREQ(bytes, "\r\nb\n");
}

TEST(file, replace_empties_what_was_there_and_can_be_read_back) {
  const test_support::temp_directory directory;
  const std::filesystem::path path = directory.write("file.bin", "longer than five");
  {
    const file_pointer file(platform::open_file(path, platform::open_mode::replace));
    ASSERT_NE(file, nullptr);
    expect_written_and_read_back(file.get());
  }
  EXPECT_EQ(std::filesystem::file_size(path), 5U);
}

TEST(file, a_temporary_file_is_written_and_read_back) {
  const file_pointer file(platform::open_temporary_file());
  ASSERT_NE(file, nullptr);
  expect_written_and_read_back(file.get());
}

TEST(file, reading_needs_an_existing_file) {
  errno = 0;
  EXPECT_EQ(platform::open_file("/no/such/file", platform::open_mode::read), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST(file, paths_are_utf_8_in_both_directions) {
  const std::string text =
      "/tr\xC3\xA4"
      "ce dir/\xE2\x82\xAC.bin";
  EXPECT_EQ(platform::path_to_utf8(platform::path_from_utf8(text)), text);
}

TEST(file, the_executable_is_this_program) {
  EXPECT_EQ(platform::executable_path().stem(), "platform_test");
}

TEST(file, a_file_on_a_disk_is_not_a_terminal) {
  const file_pointer file(std::tmpfile());
  EXPECT_FALSE(platform::is_terminal(file.get()));
}

TEST(stream_writer, a_file_takes_everything_in_a_hurry_too) {
  const file_pointer file(platform::open_temporary_file());
  ASSERT_NE(file, nullptr);
  platform::stream_writer writer(std::chrono::milliseconds(0));
  const std::string bytes(10'000, 'x');
  EXPECT_EQ(writer.write(file.get(), bytes), 0);
  writer.limit_writes();
  EXPECT_EQ(writer.write(file.get(), "the end"), 0);
  ASSERT_EQ(platform::seek_file(file.get(), 0), 0);
  std::array<char, 20'000> read{};
  const std::size_t count = std::fread(read.data(), 1, read.size(), file.get());
  EXPECT_EQ(std::string(read.data(), count), bytes + "the end");
}

}  // namespace
