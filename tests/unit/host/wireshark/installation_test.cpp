#include "host/wireshark/installation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "host/user_error.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

std::string read(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// A program with a profile, and two extcap folders as the layouts of two versions have them.
class Installation : public testing::Test {
 protected:
  Installation() {
    it_.program = directory_.write("opt/bin/veltra", "program");
    it_.profile = directory_.write("opt/profile/preferences", "columns").parent_path();
    directory_.write("opt/profile/colorfilters", "colours");
    it_.destination.extcap = {directory_.path() / "old/extcap", directory_.path() / "new/extcap"};
    it_.destination.profiles = directory_.path() / "profiles";
  }

  std::vector<fs::path> launchers() const {
    std::vector<fs::path> paths;
    for (const fs::path& folder : it_.destination.extcap) {
      paths.push_back(folder / platform::launcher_name("veltra-extcap"));
    }
    return paths;
  }
  fs::path profile() const { return it_.destination.profiles / "LTE modem"; }

  const test_support::temp_directory directory_;
  wireshark_installation it_;
};

TEST_F(Installation, PutsALauncherIntoEachFolderAndTheProfileAmongTheProfiles) {
  install(it_, false);
  for (const fs::path& launcher : launchers()) {
    EXPECT_EQ(platform::program_of_launcher(launcher), it_.program);
  }
  EXPECT_EQ(read(profile() / "preferences"), "columns");
  EXPECT_EQ(read(profile() / "colorfilters"), "colours");
}

TEST_F(Installation, DoneTwiceIsAsDoneOnce) {
  const std::string once = install(it_, false);
  EXPECT_EQ(install(it_, false), once);
  EXPECT_THAT(describe(it_), testing::Not(HasSubstr("not installed")));
}

TEST_F(Installation, ReplacesTheLauncherOfAProgramThatIsGone) {
  install(it_, false);
  const fs::path moved = directory_.write("opt2/bin/veltra", "program");
  fs::remove(it_.program);
  it_.program = moved;
  EXPECT_THAT(describe(it_), HasSubstr("which does not exist"));
  install(it_, false);
  EXPECT_EQ(platform::program_of_launcher(launchers().front()), moved);
}

TEST_F(Installation, RefusesToReplaceAFileThatIsNotALauncher) {
  directory_.write("old/extcap/" + platform::launcher_name("veltra-extcap").string(), "other");
  EXPECT_THAT(describe(it_), HasSubstr("not a link of veltra"));
  EXPECT_THROW(install(it_, false), user_error);
  uninstall(it_);
  EXPECT_EQ(read(launchers().front()), "other");
}

TEST_F(Installation, LeavesAChangedFileOfTheProfileAloneUnlessAskedToOverwrite) {
  install(it_, false);
  std::ofstream(profile() / "preferences") << "changed";
  EXPECT_THAT(describe(it_), HasSubstr("installed, and changed"));
  EXPECT_THAT(install(it_, false), HasSubstr("kept, since it was changed"));
  EXPECT_EQ(read(profile() / "preferences"), "changed");
  install(it_, true);
  EXPECT_EQ(read(profile() / "preferences"), "columns");
}

TEST_F(Installation, LaunchersForAllUsersAreEnough) {
  it_.for_all_users.extcap = {directory_.path() / "all"};
  directory_.write("all/" + platform::launcher_name("veltra-extcap").string(), "");
  EXPECT_THAT(install(it_, false), HasSubstr("installed for all users already"));
  EXPECT_FALSE(fs::exists(fs::symlink_status(launchers().front())));
  EXPECT_EQ(read(profile() / "preferences"), "columns");
}

TEST_F(Installation, GoesAwayWithWhatWiresharkKeptInTheProfile) {
  install(it_, false);
  std::ofstream(profile() / "recent") << "kept by Wireshark";
  uninstall(it_);
  for (const fs::path& launcher : launchers()) {
    EXPECT_FALSE(fs::exists(fs::symlink_status(launcher)));
  }
  EXPECT_FALSE(fs::exists(profile()));
  EXPECT_EQ(uninstall(it_), "nothing is installed\n");
}

TEST_F(Installation, AChangedProfileOutlivesIt) {
  install(it_, false);
  std::ofstream(profile() / "preferences") << "changed";
  EXPECT_THAT(uninstall(it_), HasSubstr("kept, since it was changed"));
  EXPECT_EQ(read(profile() / "preferences"), "changed");
}

}  // namespace
}  // namespace veltra::host
