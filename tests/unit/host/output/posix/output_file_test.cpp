// What an output file does on links, devices and pipes, which have names in the
// file system here.
#include "host/output/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "host/user_error.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class posix_output_file_test : public testing::Test {
 protected:
  std::filesystem::path at(const char* name) const { return directory_.path() / name; }
  std::vector<std::string> names() const { return names_in(directory_.path()); }

  test_support::temp_directory directory_;
};

TEST_F(posix_output_file_test, a_link_stays_a_link) {
  directory_.write("real", "before");
  std::filesystem::create_symlink("real", at("link"));
  output_file file(at("link"));
  file.write("after");
  file.commit();
  EXPECT_TRUE(std::filesystem::is_symlink(at("link")));
  EXPECT_EQ(content(at("real")), "after");
}

TEST_F(posix_output_file_test, a_device_is_written_and_never_replaced) {
  output_file file("/dev/null");
  file.write("x");
  file.commit();
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(posix_output_file_test, a_full_device_is_an_error) {
  output_file file("/dev/full");
  file.write("x");
  EXPECT_THAT(refusal_of([&] { file.commit(); }, exit_code::output_failed),
              HasSubstr("/dev/full: No space left on device"));
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST_F(posix_output_file_test, a_full_device_is_noticed_while_writing) {
  output_file file("/dev/full");
  EXPECT_THAT(refusal_of([&] { file.write(std::string(1 << 20, 'x')); }, exit_code::output_failed),
              HasSubstr("No space left on device"));
}

TEST_F(posix_output_file_test, a_failure_to_write_leaves_the_whole_records_that_came_before) {
  output_file file(at("out"));
  file.write("first,");
  file.write("second,");
  file.flush();
  file.write(std::string(1000, 'x'));
  {
    const test_support::file_size_limit full(500);
    EXPECT_THAT(refusal_of([&] { file.flush(); }, exit_code::output_failed),
                HasSubstr("File too large"));
    EXPECT_TRUE(file.keep_whole_records());
    EXPECT_EQ(file.size(), 13U);
    file.commit();
  }
  EXPECT_EQ(content(at("out")), "first,second,");
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(posix_output_file_test, what_could_not_be_written_is_written_when_there_is_room_again) {
  output_file file(at("out"));
  file.write("first,");
  file.flush();
  const std::string second(1000, 'x');
  file.write(second);
  {
    const test_support::file_size_limit full(500);
    refusal_of([&] { file.flush(); }, exit_code::output_failed);
  }
  file.write(",third");
  file.commit();
  EXPECT_EQ(content(at("out")), "first," + second + ",third");
}

TEST_F(posix_output_file_test, there_is_nothing_to_keep_of_a_file_without_a_whole_record) {
  output_file file(at("out"));
  file.write(std::string(1000, 'x'));
  const test_support::file_size_limit full(500);
  refusal_of([&] { file.flush(); }, exit_code::output_failed);
  EXPECT_FALSE(file.keep_whole_records());
}

TEST_F(posix_output_file_test, there_is_nothing_to_keep_on_a_device) {
  output_file file("/dev/null");
  file.write("x");
  file.flush();
  EXPECT_FALSE(file.keep_whole_records());
}

TEST_F(posix_output_file_test, a_named_pipe_gets_the_bytes) {
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  std::string read;
  std::thread reader([&] { read = content(at("pipe")); });
  output_file file(at("pipe"));
  file.write("abc");
  file.commit();
  reader.join();
  EXPECT_EQ(read, "abc");
  EXPECT_TRUE(std::filesystem::is_fifo(at("pipe")));
}

TEST_F(posix_output_file_test, standard_output_that_takes_nothing_is_an_error) {
  testing::FLAGS_gtest_death_test_style = "fast";
  const auto work = [] {
    if (std::freopen("/dev/full", "wb", stdout) == nullptr) std::_Exit(1);
    try {
      output_file file("-");
      file.write("x");
      file.commit();
    } catch (const user_error& error) {
      std::fputs(error.what(), stderr);
      std::_Exit(static_cast<int>(error.code()));
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(work(), testing::ExitedWithCode(static_cast<int>(exit_code::output_failed)),
              "cannot write standard output: No space left on device");
}

}  // namespace
}  // namespace veltra::host
