#include "platform/wireshark_folders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <system_error>

#include "tests/support/environment_variable.h"
#include "tests/support/temp_directory.h"

namespace {

TEST(WiresharkFolders, OfAPersonAreThoseOfBothLayouts) {
  const test_support::environment_variable home("HOME", "/home/me");
  const test_support::environment_variable settings("XDG_CONFIG_HOME", std::nullopt);
  const platform::wireshark_folders folders = platform::personal_wireshark_folders();
  EXPECT_THAT(folders.extcap, testing::ElementsAre("/home/me/.config/wireshark/extcap",
                                                   "/home/me/.local/lib/wireshark/extcap"));
  EXPECT_EQ(folders.profiles, "/home/me/.config/wireshark/profiles");
}

TEST(WiresharkFolders, FollowTheSettingsDirectoryOfTheEnvironment) {
  const test_support::environment_variable home("HOME", "/home/me");
  const test_support::environment_variable settings("XDG_CONFIG_HOME", "/settings");
  EXPECT_EQ(platform::personal_wireshark_folders().profiles, "/settings/wireshark/profiles");
}

TEST(WiresharkFolders, OfTheSystemAreWhereWiresharkIs) {
  const test_support::temp_directory root;
  EXPECT_THAT(platform::system_wireshark_folders(root.path()).extcap, testing::IsEmpty());
  root.write("usr/lib64/wireshark/plugins/x", "");
  const platform::wireshark_folders folders = platform::system_wireshark_folders(root.path());
  EXPECT_THAT(folders.extcap, testing::ElementsAre(root.path() / "usr/lib64/wireshark/extcap"));
  EXPECT_EQ(folders.profiles, root.path() / "usr/share/wireshark/profiles");
}

TEST(WiresharkFolders, LaunchersLeadToTheirProgramAndReplaceOnlyLaunchers) {
  const test_support::temp_directory root;
  const auto launcher = root.path() / "extcap" / platform::launcher_name("veltra");
  EXPECT_EQ(platform::program_of_launcher(launcher), "");
  EXPECT_FALSE(platform::make_launcher(launcher, "/one/veltra"));
  EXPECT_EQ(platform::program_of_launcher(launcher), "/one/veltra");
  EXPECT_FALSE(platform::make_launcher(launcher, "/two/veltra"));
  EXPECT_EQ(platform::program_of_launcher(launcher), "/two/veltra");
  const auto other = root.write("extcap/other", "a program");
  EXPECT_EQ(platform::make_launcher(other, "/one/veltra"), std::errc::file_exists);
  EXPECT_EQ(platform::program_of_launcher(other), "");
  EXPECT_TRUE(platform::make_launcher(other / "veltra", "/one/veltra"));
}

}  // namespace
