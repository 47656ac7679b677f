// What users of whole files do not see of an atomic_file; the rest is in file_io_test.cpp.
#include "base/atomic_file.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "platform/file.h"
#include "tests/support/scripted_files.h"
#include "tests/support/temp_directory.h"
#include "tests/support/unopenable_file.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using test_support::scripted_files;
using testing::ElementsAre;
using testing::IsEmpty;

class atomic_file_test : public testing::Test {
 protected:
  void open(const std::string& name = "out") {
    target_ = directory_.path() / platform::path_from_utf8(name);
    file_.emplace(files_);
    ASSERT_FALSE(file_->open(target_));
  }

  // Takes half of `bytes`.
  void fail_to_write(const std::string& bytes) {
    files_.fail("write", ENOSPC);
    EXPECT_EQ(file_->write(bytes), std::errc::no_space_on_device);
    files_.succeed("write");
  }

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory_.path())) {
      names.push_back(platform::path_to_utf8(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  static std::string content(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  test_support::temp_directory directory_;
  fs::path target_;
  scripted_files files_;
  std::optional<atomic_file> file_;
};

TEST_F(atomic_file_test, bytes_wait_in_a_part_file_beside_the_target) {
  open();
  ASSERT_FALSE(file_->write("new"));
  ASSERT_EQ(names().size(), 1U);
  const std::string part = names()[0];
  EXPECT_TRUE(part.starts_with("out.") && part.ends_with(".part")) << part;
  const std::string digits = part.substr(4, part.size() - 9);
  EXPECT_EQ(digits.size(), 8U) << part;
  EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), std::string::npos) << part;
  EXPECT_EQ(content(directory_.path() / names()[0]), "new") << "no buffer holds bytes";
  file_.reset();
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(atomic_file_test, parts_of_one_target_have_names_of_their_own) {
  open();
  atomic_file other(files_);
  ASSERT_FALSE(other.open(target_));
  EXPECT_EQ(names().size(), 2U);
}

TEST_F(atomic_file_test, a_long_name_is_cut_between_characters) {
  std::string name;
  for (int i = 0; i < 127; ++i) name += "\xC3\xA4";  // 254 bytes
  open(name);
  ASSERT_EQ(names().size(), 1U);
  const std::string part = names()[0];
  EXPECT_LE(part.size(), 255U);
  EXPECT_EQ((part.size() - std::string(".01234567.part").size()) % 2, 0U);
  ASSERT_FALSE(file_->commit());
  EXPECT_THAT(names(), ElementsAre(name));
}

// Another file under the same name could be made all the same.
TEST_F(atomic_file_test, a_file_that_nobody_may_write_is_not_replaced) {
  const fs::path path = directory_.path() / "out";
  const test_support::unopenable_file there(path);
  atomic_file file(files_);
  EXPECT_TRUE(file.open(path));
  EXPECT_FALSE(file.is_open());
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(atomic_file_test, the_size_is_that_of_the_writes_that_succeeded) {
  open();
  EXPECT_EQ(file_->size(), 0U);
  ASSERT_FALSE(file_->write("first"));
  fail_to_write("second");
  EXPECT_EQ(file_->size(), 5U);
  ASSERT_FALSE(file_->write("3"));
  EXPECT_EQ(file_->size(), 6U);
}

TEST_F(atomic_file_test, a_failed_write_costs_no_byte_of_the_others) {
  open();
  ASSERT_FALSE(file_->write("first,"));
  fail_to_write("second,");
  ASSERT_FALSE(file_->commit());
  EXPECT_EQ(content(target_), "first,");
}

TEST_F(atomic_file_test, a_write_after_a_failed_one_takes_its_place) {
  open();
  ASSERT_FALSE(file_->write("first,"));
  fail_to_write("second,");
  fail_to_write("second,");
  ASSERT_FALSE(file_->write("second,"));
  ASSERT_FALSE(file_->write("third"));
  ASSERT_FALSE(file_->commit());
  EXPECT_EQ(content(target_), "first,second,third");
}

TEST_F(atomic_file_test, nothing_is_left_of_a_failed_write_behind_a_shorter_one) {
  open();
  ASSERT_FALSE(file_->write("first,"));
  fail_to_write(std::string(1000, 'x'));
  ASSERT_FALSE(file_->write("end"));
  ASSERT_FALSE(file_->commit());
  EXPECT_EQ(content(target_), "first,end");
}

TEST_F(atomic_file_test, finish_leaves_nothing_but_the_name_to_do) {
  open();
  ASSERT_FALSE(file_->write("new"));
  EXPECT_TRUE(file_->is_open());
  ASSERT_FALSE(file_->finish());
  EXPECT_FALSE(file_->is_open());
  EXPECT_THAT(files_.done(), ElementsAre("create", "write", "sync", "close"));
  EXPECT_FALSE(fs::exists(target_));
  ASSERT_FALSE(file_->commit());
  EXPECT_THAT(files_.done(), ElementsAre("create", "write", "sync", "close", "replace"));
  EXPECT_EQ(content(target_), "new");
}

TEST_F(atomic_file_test, a_finished_file_without_commit_is_removed) {
  open();
  ASSERT_FALSE(file_->finish());
  file_.reset();
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(atomic_file_test, sync_hands_the_bytes_to_the_device_and_more_may_follow) {
  open();
  ASSERT_FALSE(file_->write("a"));
  ASSERT_FALSE(file_->sync());
  ASSERT_FALSE(file_->write("b"));
  EXPECT_THAT(files_.done(), ElementsAre("create", "write", "sync", "write"));
  files_.fail("sync", EIO);
  EXPECT_EQ(file_->sync(), std::errc::io_error);
}

TEST_F(atomic_file_test, a_commit_that_failed_can_be_repeated) {
  open();
  ASSERT_FALSE(file_->write("new"));
  files_.fail("replace", EACCES);
  EXPECT_EQ(file_->commit(), std::errc::permission_denied);
  files_.succeed("replace");
  ASSERT_FALSE(file_->commit());
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(atomic_file_test, a_part_that_is_kept_stays_under_its_own_name) {
  open();
  ASSERT_FALSE(file_->write("new"));
  fail_to_write("more");
  files_.fail("replace", EACCES);
  ASSERT_TRUE(file_->commit());
  const fs::path kept = file_->keep_part();
  EXPECT_EQ(kept.parent_path(), directory_.path());
  file_.reset();
  EXPECT_THAT(names(), ElementsAre(platform::path_to_utf8(kept.filename())));
  EXPECT_EQ(content(kept), "new");
}

TEST_F(atomic_file_test, there_is_no_part_to_keep_before_open_and_after_commit) {
  EXPECT_EQ(atomic_file().keep_part(), fs::path());
  open();
  ASSERT_FALSE(file_->commit());
  EXPECT_EQ(file_->keep_part(), fs::path());
  file_.reset();
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST(unsynced_file_operations, give_the_name_without_a_sync) {
  const test_support::temp_directory directory;
  atomic_file file(unsynced_file_operations());
  ASSERT_FALSE(file.open(directory.path() / "out"));
  ASSERT_FALSE(file.write("abc"));
  ASSERT_FALSE(file.commit());
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "out"));
  EXPECT_EQ(unsynced_file_operations().sync(nullptr), 0);
}

}  // namespace
}  // namespace veltra
