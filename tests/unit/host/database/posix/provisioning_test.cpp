// Links and pipes in a cache.
#include <sys/stat.h>

#include "host/database/cache_report.h"
#include "tests/unit/host/database/provisioning_fixture.h"

namespace veltra::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

using provisioning_links = provisioning_test;

TEST_F(provisioning_links, a_link_in_the_place_of_a_database_is_refused) {
  ASSERT_EQ(failure_of_sync(), "no error");
  fs::rename(cached_first(), directory_.path() / "outside.json");
  fs::create_symlink(directory_.path() / "outside.json", cached_first());
  EXPECT_THAT(failure_of_sync(), AllOf(HasSubstr("fw1.json is a link, which may lead out"),
                                       HasSubstr("--trust-catalogue")));
  options_.trust_catalogue = true;
  EXPECT_EQ(failure_of_sync(), "no error");
}

TEST_F(provisioning_links, a_link_in_the_place_of_a_directory_is_refused) {
  fs::create_directories(directory_.path() / "outside");
  fs::create_directory(cached(""));
  fs::create_directory_symlink(directory_.path() / "outside", cached("modem"));
  EXPECT_THAT(failure_of_sync(), HasSubstr("modem is a link"));
  EXPECT_TRUE(fs::is_empty(directory_.path() / "outside"));
}

TEST_F(provisioning_links, a_cache_may_be_a_link_itself) {
  fs::create_directories(directory_.path() / "elsewhere");
  fs::create_directory_symlink(directory_.path() / "elsewhere", directory_.path() / "cache");
  EXPECT_EQ(failure_of_sync(), "no error");
}

TEST_F(provisioning_links, a_pipe_in_the_cache_is_refused_and_not_opened) {
  ASSERT_EQ(failure_of_sync(), "no error");
  fs::remove(cached_first());
  ASSERT_EQ(mkfifo(cached_first().c_str(), 0600), 0);
  EXPECT_THAT(failure_of_sync(), HasSubstr("fw1.json is not a regular file"));
  EXPECT_EQ(look_at_cache(options_)[0].state, database_state::unreadable);
  fs::remove(cached("config.json"));
  ASSERT_EQ(mkfifo(cached("config.json").c_str(), 0600), 0);
  EXPECT_THAT(failure_of_sync(), HasSubstr("config.json is not a regular file"));
  EXPECT_THROW(look_at_cache(options_), user_error);
}

}  // namespace
}  // namespace veltra::host
