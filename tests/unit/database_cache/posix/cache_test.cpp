// What only POSIX file systems have: links, and names that cannot be tested.
#include <gmock/gmock.h>

#include "platform/file.h"
#include "plugin/database/database_locator.h"
#include "tests/support/recorded_log.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/database_cache/cache_sync_fixture.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// --- names that cannot be tested -----------------------------------------------------

// Where a name that is too long is not simply one that does not exist.
class posix_cache_settings_test : public cache_sync_test {};

TEST_F(posix_cache_settings_test, a_cache_directory_that_cannot_be_tested_is_a_file_system_error) {
  config_["cache_directory"] = path(std::string(300, 'x'));
  try {
    sync();
    FAIL() << "no error";
  } catch (const fs::filesystem_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("exists"));
    EXPECT_EQ(error.code(), std::errc::filename_too_long);
  }
}

// --- links ---------------------------------------------------------------------------

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

TEST_F(posix_database_locator_test, an_entry_whose_kind_cannot_be_read_is_a_file_system_error) {
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
