#include "plugin/trace_file.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace {

using veltra::trace_file;

class trace_file_reading : public ::testing::Test {
 protected:
  void write(const std::string& bytes) {
    file.open(platform::path_to_utf8(directory.write("trace.bin", bytes)));
  }

  const test_support::temp_directory directory;
  trace_file file;
  std::string chunk;
};

TEST_F(trace_file_reading, an_empty_file_ends_with_the_first_read) {
  write("");
  EXPECT_EQ(file.size(), 0U);
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "");
}

TEST_F(trace_file_reading, the_last_chunk_is_shorter_and_meets_the_end) {
  write("abcdef");
  EXPECT_EQ(file.size(), 6U);
  EXPECT_FALSE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "abcd");
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "ef");
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "");
}

TEST_F(trace_file_reading, a_multiple_of_the_chunk_size_ends_with_a_read_of_nothing) {
  write("abcd");
  EXPECT_FALSE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "abcd");
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "");
}

TEST_F(trace_file_reading, a_chunk_larger_than_one_step_is_read_whole) {
  std::string bytes((std::size_t{1} << 20) + 5, 'x');
  bytes.back() = 'y';
  write(bytes);
  EXPECT_FALSE(file.read_chunk(bytes.size(), chunk));
  EXPECT_EQ(chunk, bytes);
}

TEST_F(trace_file_reading, a_chunk_size_beyond_all_memory_reads_what_there_is) {
  write("abc");
  EXPECT_TRUE(file.read_chunk(UINT64_MAX, chunk));
  EXPECT_EQ(chunk, "abc");
}

TEST(trace_file_opening, a_file_that_cannot_be_opened_is_named) {
  trace_file file;
  try {
    file.open("/no such directory/trace.bin");
    ADD_FAILURE() << "opened";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "trace_file could not be opened at /no such directory/trace.bin");
  }
}

}  // namespace
