// What writing does to links, permissions and devices, which only this kind of file
// system has.
#include "plugin/database/file_io.h"

#include <gmock/gmock.h>

#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;

class posix_file_io_test : public testing::Test {
 protected:
  test_support::temp_directory directory_;
  fs::path file_ = directory_.path() / "config.json";
};

// Takes every byte into its buffer and none to the device.
class full_device : public file_operations {
 public:
  std::FILE* create(const fs::path& /*path*/) override {
    return platform::open_file("/dev/full", platform::open_mode::replace);
  }
};

TEST_F(posix_file_io_test, bytes_that_stay_behind_in_a_buffer_are_noticed) {
  write_file(file_, "old");
  full_device device;
  try {
    write_file(file_, "new", device);
    ADD_FAILURE() << "written";
  } catch (const file_error& error) {
    EXPECT_EQ(error.reason(), std::errc::no_space_on_device);
  }
  EXPECT_EQ(read_file(file_), "old");
}

TEST_F(posix_file_io_test, a_link_stays_and_what_it_points_to_is_replaced) {
  const fs::path shared = directory_.write("shared/config.json", "old");
  fs::create_symlink(shared, file_);
  write_file(file_, "new");
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_EQ(read_file(shared), "new");
  const fs::directory_iterator beside(shared.parent_path());
  EXPECT_EQ(std::distance(beside, fs::directory_iterator()), 1);
}

TEST_F(posix_file_io_test, a_link_to_what_does_not_exist_yet_stays_and_its_target_is_made) {
  fs::create_directory(directory_.path() / "shared");
  fs::create_symlink("shared/next", file_);
  fs::create_symlink("config.json", directory_.path() / "shared/next");
  write_file(file_, "new");
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_TRUE(fs::is_symlink(directory_.path() / "shared/next"));
  EXPECT_FALSE(fs::is_symlink(directory_.path() / "shared/config.json"));
  EXPECT_EQ(read_file(directory_.path() / "shared/config.json"), "new");
}

TEST_F(posix_file_io_test, a_link_that_leads_nowhere_but_to_itself_is_not_replaced) {
  fs::create_symlink("config.json", file_);
  try {
    write_file(file_, "new");
    ADD_FAILURE() << "written";
  } catch (const file_error& error) {
    EXPECT_EQ(error.reason(), std::errc::too_many_symbolic_link_levels);
  }
  EXPECT_TRUE(fs::is_symlink(file_));
}

TEST_F(posix_file_io_test, permissions_stay_as_they_were) {
  write_file(file_, "old");
  const fs::perms shared = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                           fs::perms::group_write;
  fs::permissions(file_, shared);
  write_file(file_, "new");
  EXPECT_EQ(fs::status(file_).permissions(), shared);
}

}  // namespace
}  // namespace veltra
