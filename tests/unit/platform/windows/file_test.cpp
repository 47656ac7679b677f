// Files by names and in ways that only Windows has.
#include "platform/file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <system_error>

#include "tests/support/temp_directory.h"

namespace {

using platform::is_absolute_path;
using platform::open_file;
using platform::open_mode;
using platform::path_from_utf8;
using platform::path_to_utf8;

struct closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_pointer = std::unique_ptr<std::FILE, closer>;

TEST(windows_file, a_path_is_absolute_with_a_drive_and_a_separator_or_on_a_network) {
  for (const char* path : {"C:\\", "C:/dir", "z:\\dir\\file", "\\\\server\\share\\file",
                           "//server/share", "\\\\server", "\\\\?\\C:\\dir", "\\\\.\\COM3"}) {
    EXPECT_TRUE(is_absolute_path(path)) << path;
  }
  for (const char* path : {"", "C:", "C:dir", "\\dir", "/dir", "dir\\file", "~\\file", ".\\C:\\",
                           "1:\\dir", "\xC3\x9C:\\"}) {
    EXPECT_FALSE(is_absolute_path(path_from_utf8(path))) << path;
  }
}

TEST(windows_file, a_pipe_has_a_name_that_no_file_can_have) {
  EXPECT_TRUE(platform::is_pipe_name("\\\\.\\pipe\\wireshark_extcap_1"));
  EXPECT_FALSE(platform::is_pipe_name("C:\\pipe\\x"));
  EXPECT_FALSE(platform::is_pipe_name("\\\\.\\COM3"));
}

TEST(windows_file, names_of_every_script_lead_to_their_files) {
  const test_support::temp_directory directory;
  const auto path = directory.path() / path_from_utf8("\xC3\x9C \xE2\x82\xAC \xE6\x97\xA5.bin");
  {
    const file_pointer file(open_file(path, open_mode::replace));
    ASSERT_NE(file, nullptr);
    std::fputs("here", file.get());
  }
  EXPECT_EQ(std::filesystem::file_size(path), 4U);
  const auto entry = std::filesystem::directory_iterator(directory.path())->path().filename();
  EXPECT_EQ(path_to_utf8(entry), "\xC3\x9C \xE2\x82\xAC \xE6\x97\xA5.bin");
}

TEST(windows_file, others_may_read_what_is_being_written) {
  const test_support::temp_directory directory;
  const auto path = directory.path() / "growing.bin";
  const file_pointer file(open_file(path, open_mode::replace));
  ASSERT_NE(file, nullptr);
  std::fputs("so far\n", file.get());
  ASSERT_EQ(platform::sync_file(file.get()), 0);
  const file_pointer reader(open_file(path, open_mode::read));
  ASSERT_NE(reader, nullptr);
  char bytes[16] = {};
  EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, reader.get()), 7U);
  EXPECT_STREQ(bytes, "so far\n");
}

TEST(windows_file, a_control_z_is_a_byte_like_any_other) {
  const test_support::temp_directory directory;
  const auto path = directory.path() / "bytes.bin";
  const std::string bytes = "a\x1A\r\n\n\r\x1A";
  {
    const file_pointer file(open_file(path, open_mode::write));
    ASSERT_NE(file, nullptr);
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
  }
  const file_pointer file(open_file(path, open_mode::read));
  ASSERT_NE(file, nullptr);
  std::string read(16, '\0');
  read.resize(std::fread(read.data(), 1, read.size(), file.get()));
  EXPECT_EQ(read, bytes);
}

TEST(windows_file, a_directory_does_not_open_and_says_why) {
  const test_support::temp_directory directory;
  errno = 0;
  EXPECT_EQ(open_file(directory.path(), open_mode::read), nullptr);
  EXPECT_EQ(errno, EACCES);
}

TEST(windows_file, positions_beyond_4_gib_are_reached) {
  const test_support::temp_directory directory;
  const file_pointer file(open_file(directory.path() / "sparse.bin", open_mode::replace));
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(platform::seek_file(file.get(), std::uint64_t{5} << 30), 0);
  EXPECT_EQ(_ftelli64(file.get()), std::int64_t{5} << 30);
}

TEST(windows_file, one_that_somebody_has_open_is_replaced_when_it_is_closed) {
  const test_support::temp_directory directory;
  directory.write("new", "after");
  directory.write("old", "before");
  file_pointer held(open_file(directory.path() / "old", open_mode::read));
  auto replacing = std::async(std::launch::async, [&] {
    return platform::replace_file(directory.path() / "new", directory.path() / "old");
  });
  EXPECT_EQ(replacing.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  held.reset();
  EXPECT_EQ(replacing.get(), std::error_code());
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "new"));
  EXPECT_EQ(std::filesystem::file_size(directory.path() / "old"), 5U);
}

TEST(windows_file, one_that_stays_open_is_not_replaced) {
  const test_support::temp_directory directory;
  directory.write("new", "after");
  directory.write("old", "before");
  const file_pointer held(open_file(directory.path() / "old", open_mode::read));
  EXPECT_EQ(platform::replace_file(directory.path() / "new", directory.path() / "old"),
            std::errc::permission_denied);
  EXPECT_EQ(std::filesystem::file_size(directory.path() / "old"), 6U);
}

}  // namespace
