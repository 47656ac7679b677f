// Batch files instead of links.
#include "platform/wireshark_folders.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace {

TEST(windows_wireshark_folders, a_launcher_is_a_batch_file_that_hands_its_arguments_on) {
  const test_support::temp_directory directory;
  const auto launcher = directory.path() / "extcap" / platform::launcher_name("veltra-extcap");
  EXPECT_EQ(launcher.filename(), "veltra-extcap.bat");
  EXPECT_FALSE(platform::make_launcher(launcher, "C:\\a dir\\veltra.exe"));
  std::ifstream file(launcher, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(text, "@echo off\r\n\"C:\\a dir\\veltra.exe\" %*\r\n");
}

TEST(windows_wireshark_folders, a_launcher_knows_its_program_with_percent_signs_in_the_name) {
  const test_support::temp_directory directory;
  const auto launcher = directory.path() / "x.bat";
  const std::filesystem::path program = "C:\\100%\\%PATH%\\veltra.exe";
  EXPECT_FALSE(platform::make_launcher(launcher, program));
  EXPECT_EQ(platform::program_of_launcher(launcher), program);
}

TEST(windows_wireshark_folders, another_batch_file_is_not_replaced) {
  const test_support::temp_directory directory;
  const auto launcher = directory.write("x.bat", "echo mine");
  EXPECT_EQ(platform::make_launcher(launcher, "C:\\veltra.exe"), std::errc::file_exists);
  EXPECT_TRUE(platform::program_of_launcher(launcher).empty());
}

}  // namespace
