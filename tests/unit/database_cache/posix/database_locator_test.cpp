// Symbolic links among the databases.
#include "plugin/database/database_locator.h"

#include <gmock/gmock.h>

#include "platform/file.h"
#include "tests/support/recorded_log.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr const char* uuid = "0123abcd-4567-89ef-0a1b-23456789cdef";

class posix_database_locator_test : public testing::Test {
 protected:
  std::string make(const std::string& name) {
    const fs::path path = directory_.path() / name;
    fs::create_directories(path);
    return platform::path_to_utf8(path);
  }

  fs::path locate(const std::vector<std::string>& directories) {
    return locate_database_directory(directories, uuid, log_.host_log());
  }

  test_support::temp_directory directory_;
  test_support::recorded_log log_;
};

TEST_F(posix_database_locator_test, a_link_to_a_directory_is_a_directory) {
  const std::string version = make("v");
  fs::create_directory_symlink(make("elsewhere"), fs::path(version) / uuid);
  EXPECT_EQ(locate({version}), fs::path(version) / uuid);
}

TEST_F(posix_database_locator_test, a_link_to_nowhere_is_passed_over) {
  const std::string first = make("1");
  const std::string second = make("2");
  fs::create_directory_symlink("nowhere", fs::path(first) / uuid);
  make(std::string("2/") + uuid);
  EXPECT_EQ(locate({first, second}), fs::path(second) / uuid);
}

TEST_F(posix_database_locator_test, an_entry_whose_kind_cannot_be_told_is_a_file_system_error) {
  const std::string version = make("v");
  fs::create_symlink("loop", fs::path(version) / "loop");
  for (const bool searching_file : {false, true}) {
    try {
      searching_file ? find_database_file(version) : locate({version});
      FAIL() << "no error";
    } catch (const fs::filesystem_error& error) {
      EXPECT_THAT(error.what(), HasSubstr("directory_entry::status"));
      EXPECT_EQ(error.code(), std::errc::too_many_symbolic_link_levels);
    }
  }
}

}  // namespace
}  // namespace veltra
