#include "tests/unit/database_cache/cache_sync_fixture.h"

namespace veltra {
namespace {

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

}  // namespace
}  // namespace veltra
