// Devices that are really full or read-only, where the tests may make them.
#include <gmock/gmock.h>

#include "platform/file.h"
#include "plugin/database/cache_sync.h"
#include "plugin/database/cached_database.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/small_file_system.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using kovax::json;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t device_size = 65536;

// A cache on a device of its own with one database that fits, and a newer
// catalogue to be had whose database does not.
class full_device_test : public testing::Test {
 protected:
  void SetUp() override {
    if (!device_.mounted()) GTEST_SKIP() << "this process may not mount a file system";
    publish("2024-05-01 00:00:00", small_);
    sync();
    ASSERT_EQ(read_file(cached_), small_);
  }

  void publish(const std::string& time, const std::string& content) {
    source_.write("fw.json", content);
    source_.write("config.json",
                  test_support::catalogue_of(
                      time, {{"modem", "1.0", "uuid", "${root}fw.json", sha256_hex(content)}})
                      .dump());
  }

  void sync() {
    std::vector<std::string> directories;
    sync_log no_log({});
    sync_database_cache(no_log,
                        {{"cache_directory", platform::path_to_utf8(cache_.path())},
                         {"update_cache", true},
                         {"trace_db_locations", {"${root}config.json"}},
                         {"root", "file://" + platform::path_to_utf8(source_.path())}},
                        directories, [](const json& value) { return value.get<std::string>(); });
  }

  std::string error_of_sync() {
    try {
      sync();
    } catch (const std::exception& error) {
      return error.what();
    }
    return "no error";
  }

  const std::string small_ = std::string(20'000, 's');
  test_support::temp_directory source_;
  test_support::temp_directory cache_;
  test_support::small_file_system device_{cache_.path(), device_size};
  const fs::path cached_ = cache_.path() / "modem" / "1.0" / "uuid" / "fw.json";
};

TEST_F(full_device_test, a_database_that_does_not_fit_leaves_the_old_one) {
  publish("2024-05-01 00:00:01", std::string(2 * device_size, 'l'));
  EXPECT_EQ(error_of_sync(), "unable to open file to write: " + platform::path_to_utf8(cached_));
  EXPECT_EQ(read_file(cached_), small_);
  EXPECT_EQ(std::distance(fs::directory_iterator(cached_.parent_path()), {}), 1);
}

TEST_F(full_device_test, what_failed_is_made_good_when_there_is_room_again) {
  const std::string large(device_size / 2, 'l');
  const fs::path ballast = cache_.path() / "ballast";
  publish("2024-05-01 00:00:01", large);
  write_file(ballast, std::string(device_size / 2, 'b'));
  EXPECT_THAT(error_of_sync(), StartsWith("unable to open file to write: "));
  fs::remove(ballast);
  sync();
  EXPECT_EQ(read_file(cached_), large);
}

TEST_F(full_device_test, the_reason_is_kept_with_the_error) {
  try {
    write_file(cached_, std::string(2 * device_size, 'l'));
    FAIL() << "no error";
  } catch (const file_error& error) {
    EXPECT_EQ(error.reason(), std::errc::no_space_on_device);
  }
}

TEST_F(full_device_test, a_read_only_cache_that_is_up_to_date_serves) {
  device_.make_read_only();
  EXPECT_EQ(error_of_sync(), "no error");
}

TEST_F(full_device_test, a_read_only_cache_that_is_out_of_date_keeps_its_catalogue) {
  const std::string catalogue = read_file(cache_.path() / "config.json");
  device_.make_read_only();
  publish("2024-05-01 00:00:01", "new");
  EXPECT_EQ(error_of_sync(), "unable to open file to write: " +
                                 platform::path_to_utf8(cache_.path() / "config.json"));
  EXPECT_EQ(read_file(cache_.path() / "config.json"), catalogue);
}

TEST_F(full_device_test, a_directory_that_a_read_only_cache_lacks_is_a_file_system_error) {
  fs::remove_all(cache_.path() / "modem");
  device_.make_read_only();
  EXPECT_THAT(error_of_sync(), HasSubstr("create_directories"));
}

}  // namespace
}  // namespace veltra
