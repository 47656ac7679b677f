#include "platform/environment.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/support/environment_variable.h"

namespace platform {
namespace {

using std::filesystem::path;
using test_support::environment_variable;
using testing::ElementsAre;

TEST(configuration_folders, a_persons_folder_comes_before_the_machines) {
  const environment_variable home("HOME", "/home/me");
  {
    const environment_variable settings("XDG_CONFIG_HOME", "/settings");
    EXPECT_THAT(configuration_folders(), ElementsAre(path("/settings"), path("/etc")));
  }
  const environment_variable settings("XDG_CONFIG_HOME", std::nullopt);
  EXPECT_THAT(configuration_folders(), ElementsAre(path("/home/me/.config"), path("/etc")));
}

TEST(configuration_folders, a_relative_folder_is_ignored_as_the_standard_says) {
  const environment_variable home("HOME", "/home/me");
  const environment_variable settings("XDG_CONFIG_HOME", "settings");
  EXPECT_THAT(configuration_folders(), ElementsAre(path("/home/me/.config"), path("/etc")));
}

TEST(configuration_folders, without_a_home_there_is_the_machines) {
  const environment_variable home("HOME", std::nullopt);
  const environment_variable settings("XDG_CONFIG_HOME", "");
  EXPECT_THAT(configuration_folders(), ElementsAre(path("/etc")));
}

}  // namespace
}  // namespace platform
