#include "platform/byte_stream.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <array>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>

#include "tests/support/temp_directory.h"

namespace {

using platform::byte_reader;
using platform::pipe_feed;

std::string read_all(byte_reader& from) {
  std::string bytes;
  std::array<char, 1000> piece{};
  while (const std::size_t count = from.read(piece)) bytes.append(piece.data(), count);
  return bytes;
}

TEST(byte_reader, reads_a_file_to_its_end) {
  test_support::temp_directory directory;
  const std::string bytes(3000, 'x');
  byte_reader reader(directory.write("file", bytes));
  EXPECT_EQ(read_all(reader), bytes);
}

TEST(byte_reader, waits_for_the_writer_of_a_pipe_and_reads_what_it_writes) {
  test_support::temp_directory directory;
  const std::filesystem::path path = directory.path() / "fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  byte_reader reader(path);
  const std::string bytes(300000, 'x');
  const std::jthread writer([&] { std::ofstream(path, std::ios::binary) << bytes; });
  EXPECT_EQ(read_all(reader), bytes);
}

TEST(byte_reader, a_wait_ends_when_it_is_cancelled) {
  test_support::temp_directory directory;
  const std::filesystem::path path = directory.path() / "fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  byte_reader reader(path);
  const std::jthread other([&] { reader.cancel(); });
  EXPECT_EQ(read_all(reader), "");
  EXPECT_EQ(read_all(reader), "");
}

TEST(byte_reader, names_the_systems_reason) {
  const test_support::temp_directory directory;
  EXPECT_THROW(byte_reader(directory.path() / "none"), std::system_error);
  byte_reader reader(directory.path());
  EXPECT_THROW(read_all(reader), std::system_error);
}

TEST(pipe_feed, is_read_by_its_name) {
  pipe_feed feed;
  const std::string bytes(300000, 'x');
  const std::jthread writer([&] {
    EXPECT_TRUE(feed.write(bytes));
    feed.end();
  });
  std::ifstream reader(feed.name(), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), bytes);
}

TEST(pipe_feed, a_write_without_a_reader_ends) {
  signal(SIGPIPE, SIG_IGN);  // as the program does
  pipe_feed feed;
  bool was_taken = true;
  {
    const std::jthread writer([&] { was_taken = feed.write(std::string(300000, 'x')); });
    feed.close_reading_end();
  }
  EXPECT_FALSE(was_taken);
}

}  // namespace
