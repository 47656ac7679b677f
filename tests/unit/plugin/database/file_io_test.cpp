#include "plugin/database/file_io.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <functional>

#include "platform/file.h"
#include "tests/support/scripted_files.h"
#include "tests/support/system_errors.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using test_support::scripted_files;
using test_support::temp_directory;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> names_in(const fs::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.push_back(platform::path_to_utf8(entry.path().filename()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

class file_io_test : public testing::Test {
 protected:
  // Text and reason of the failure.
  struct failure {
    std::string text;
    std::errc reason{};
    bool operator==(const failure&) const = default;
  };

  static failure failure_of(const std::function<void()>& action) {
    try {
      action();
    } catch (const file_error& error) {
      return {error.what(), static_cast<std::errc>(error.reason().value())};
    }
    return {};
  }

  failure write_failure(const fs::path& path, std::string_view bytes = "new") {
    return failure_of([&] { write_file(path, bytes, files_); });
  }

  static failure cannot_write(const fs::path& path, std::errc reason) {
    return {"unable to open file to write: " + platform::path_to_utf8(path), reason};
  }

  temp_directory directory_;
  fs::path file_ = directory_.path() / "config.json";
  scripted_files files_;
};

TEST_F(file_io_test, a_file_is_read_byte_for_byte) {
  std::string bytes;
  for (int i = 0; i < 200'000; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(read_file(directory_.write("fw.tar.gz", bytes)), bytes);
  EXPECT_EQ(read_file(directory_.write("lines", "a\r\nb\n\x1a")), "a\r\nb\n\x1a");
  EXPECT_EQ(read_file(directory_.write("empty", "")), "");
}

TEST_F(file_io_test, no_more_of_a_file_is_read_than_is_wanted) {
  const auto path = directory_.write("bytes", "abcdef");
  EXPECT_EQ(read_file(path, 0), "");
  EXPECT_EQ(read_file(path, 3), "abc");
  EXPECT_EQ(read_file(path, 6), "abcdef");
  EXPECT_EQ(read_file(path, 7), "abcdef");
  const auto large = directory_.write("large", std::string(200'000, 'x'));
  EXPECT_EQ(read_file(large, 65536), std::string(65536, 'x'));
  EXPECT_EQ(read_file(large, 65537), std::string(65537, 'x'));
}

TEST_F(file_io_test, a_missing_file_cannot_be_opened) {
  EXPECT_EQ(failure_of([&] { read_file(file_); }),
            (failure{"cannot open file: " + platform::path_to_utf8(file_),
                     std::errc::no_such_file_or_directory}));
}

TEST_F(file_io_test, a_directory_cannot_be_read) {
  EXPECT_EQ(failure_of([&] { read_file(directory_.path()); }),
            (failure{"cannot open file: " + platform::path_to_utf8(directory_.path()),
                     test_support::opening_a_directory}));
}

TEST_F(file_io_test, what_is_written_is_read_back_byte_for_byte) {
  std::string bytes;
  for (int i = 0; i < 200'000; ++i) bytes += static_cast<char>(i);
  write_file(file_, bytes);
  EXPECT_EQ(read_file(file_), bytes);
  write_file(file_, "line\nline\r\n");
  EXPECT_EQ(fs::file_size(file_), 11U);
  write_file(file_, "");
  EXPECT_EQ(read_file(file_), "");
  EXPECT_THAT(names_in(directory_.path()), ElementsAre("config.json"));
}

TEST_F(file_io_test, bytes_are_on_the_device_before_they_get_the_name) {
  write_file(file_, "new", files_);
  EXPECT_THAT(files_.done(), ElementsAre("create", "write", "sync", "close", "replace"));
}

TEST_F(file_io_test, a_file_being_written_has_no_extension_of_a_database) {
  files_.before("replace", [&] {
    ASSERT_EQ(names_in(directory_.path()).size(), 1U);
    EXPECT_EQ(fs::path(names_in(directory_.path())[0]).extension(), ".part");
  });
  write_file(directory_.path() / "fw.json", "new", files_);
  EXPECT_THAT(names_in(directory_.path()), ElementsAre("fw.json"));
}

TEST_F(file_io_test, a_directory_that_is_missing_cannot_be_written_into) {
  const fs::path path = directory_.path() / "missing" / "fw.json";
  EXPECT_EQ(write_failure(path), cannot_write(path, std::errc::no_such_file_or_directory));
}

TEST_F(file_io_test, a_file_in_place_of_the_directory_cannot_be_written_into) {
  const fs::path path = directory_.write("file", "") / "fw.json";
  EXPECT_EQ(write_failure(path), cannot_write(path, test_support::path_through_a_file));
}

TEST_F(file_io_test, a_directory_is_not_replaced_by_a_file) {
  fs::create_directory(file_);
  EXPECT_EQ(write_failure(file_), cannot_write(file_, test_support::replacing_a_directory));
  EXPECT_TRUE(fs::is_directory(file_));
  EXPECT_THAT(names_in(directory_.path()), ElementsAre("config.json"));
}

TEST_F(file_io_test, a_read_only_directory_leaves_the_old_content) {
  write_file(file_, "old");
  files_.fail("create", EROFS);
  EXPECT_EQ(write_failure(file_), cannot_write(file_, std::errc::read_only_file_system));
  EXPECT_EQ(read_file(file_), "old");
}

TEST_F(file_io_test, a_failure_of_any_step_leaves_the_old_content_and_nothing_beside_it) {
  for (const char* step : {"write", "sync", "close", "replace"}) {
    write_file(file_, "old");
    scripted_files files;
    files.fail(step, ENOSPC);
    EXPECT_EQ(failure_of([&] { write_file(file_, "new", files); }),
              cannot_write(file_, std::errc::no_space_on_device))
        << step;
    EXPECT_EQ(read_file(file_), "old") << step;
    EXPECT_THAT(names_in(directory_.path()), ElementsAre("config.json")) << step;
  }
}

TEST_F(file_io_test, a_full_device_leaves_no_new_file) {
  files_.fail("write", ENOSPC);
  EXPECT_EQ(write_failure(file_), cannot_write(file_, std::errc::no_space_on_device));
  EXPECT_THAT(names_in(directory_.path()), IsEmpty());
}

TEST_F(file_io_test, the_first_of_several_failures_is_the_reason) {
  files_.fail("write", ENOSPC);
  files_.fail("close", EIO);
  EXPECT_EQ(write_failure(file_), cannot_write(file_, std::errc::no_space_on_device));
}

TEST_F(file_io_test, what_a_lost_process_left_is_removed_after_an_hour) {
  const auto old = directory_.write("config.json.0123abcd.part", "half");
  const auto recent = directory_.write("config.json.0123abce.part", "half");
  const auto now = fs::file_time_type::clock::now();
  fs::last_write_time(old, now - std::chrono::minutes(61));
  fs::last_write_time(recent, now - std::chrono::minutes(59));
  write_file(file_, "new");
  EXPECT_THAT(names_in(directory_.path()), ElementsAre("config.json", "config.json.0123abce.part"));
}

TEST_F(file_io_test, what_a_write_has_left_is_known_for_it_later) {
  fs::path part;
  files_.before("replace", [&] {
    part = directory_.path() / names_in(directory_.path()).at(0);
    fs::copy_file(part, directory_.path() / "copy");
  });
  write_file(file_, "new", files_);
  fs::rename(directory_.path() / "copy", part);
  fs::last_write_time(part, fs::file_time_type::clock::now() - std::chrono::hours(2));
  write_file(file_, "newer");
  EXPECT_THAT(names_in(directory_.path()), ElementsAre("config.json"));
}

TEST_F(file_io_test, a_file_that_is_only_called_alike_is_somebodys_own) {
  const std::vector<std::string> names = {
      "notes.part",
      "config.json.part",
      "config.json.0123abc.part",
      "config.json.0123abcg.part",
      "config.json.0123abcd.part.part",
      "config.json.0123abcd0.part",
      "fw.json.0123abcd.part",
  };
  for (const std::string& name : names) {
    fs::last_write_time(directory_.write(name, "mine"),
                        fs::file_time_type::clock::now() - std::chrono::hours(1000));
  }
  write_file(file_, "new");
  EXPECT_EQ(names_in(directory_.path()).size(), names.size() + 1);
}

TEST_F(file_io_test, a_name_of_the_longest_length_can_be_written) {
  const fs::path longest = directory_.path() / std::string(255, 'n');
  write_file(longest, "new");
  EXPECT_EQ(read_file(longest), "new");
}

}  // namespace
}  // namespace veltra
