// Paths of the init parameters as Windows writes them.
#include "plugin/path_parameter.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "implementation/json.h"
#include "platform/file.h"
#include "platform/windows/system.h"
#include "plugin/errors.h"
#include "tests/support/temp_directory.h"

namespace {

using kovax::json;
using platform::path_from_utf8;
using platform::path_to_utf8;
using veltra::resolve_path_parameter;

// "Ü 日", as a name in UTF-8.
constexpr const char* foreign = "\xC3\x9C \xE6\x97\xA5";

std::string resolve(const std::string& text) {
  return path_to_utf8(resolve_path_parameter(json{{"key", text}}, "key"));
}

class windows_path_parameter : public ::testing::Test {
 protected:
  windows_path_parameter() { _wputenv(L"HOME=D:\\Users\\\x00DC"); }
  ~windows_path_parameter() override { _wputenv(L"HOME="); }
};

TEST_F(windows_path_parameter, a_path_with_drive_and_separator_is_taken_as_it_is) {
  for (const char* path : {"C:\\trace.bin", "c:/data/../trace.bin", "Z:\\a b\\\xC3\x9C.bin"}) {
    EXPECT_EQ(resolve(path), path);
  }
}

TEST_F(windows_path_parameter, a_path_with_a_network_root_is_taken_as_it_is) {
  for (const char* path :
       {"\\\\server\\share\\trace.bin", "//server/share/trace.bin", "\\\\?\\C:\\trace.bin"}) {
    EXPECT_EQ(resolve(path), path);
  }
}

TEST_F(windows_path_parameter, any_other_path_is_joined_to_the_working_directory) {
  const std::string here = path_to_utf8(std::filesystem::current_path());
  const std::string drive = here.substr(0, 2);
  EXPECT_EQ(resolve("a\\b.bin"), here + "\\a\\b.bin");
  EXPECT_EQ(resolve("~\\trace.bin"), here + "\\~\\trace.bin");
  EXPECT_EQ(resolve("\\trace.bin"), drive + "\\trace.bin");
  EXPECT_EQ(resolve(drive + "trace.bin"), here + "\\trace.bin");
}

TEST_F(windows_path_parameter, the_first_tilde_behind_a_drive_or_a_network_root_is_the_home) {
  EXPECT_EQ(resolve("C:\\~\\a~b"), "C:\\D:\\Users\\\xC3\x9C\\a~b");
  EXPECT_EQ(resolve("\\\\server\\~"), "\\\\server\\D:\\Users\\\xC3\x9C");
}

TEST_F(windows_path_parameter, a_tilde_without_a_home_is_refused) {
  _wputenv(L"HOME=");
  EXPECT_THROW(resolve("C:\\~\\trace.bin"), kovax::kovax_exception);
}

TEST_F(windows_path_parameter, the_working_directory_may_have_any_name) {
  const test_support::temp_directory directory;
  const auto there = directory.path() / path_from_utf8(foreign);
  std::filesystem::create_directory(there);
  const test_support::working_directory inside(there);
  EXPECT_TRUE(resolve("trace.bin").ends_with(std::string("\\") + foreign + "\\trace.bin"));
  EXPECT_TRUE(resolve_path_parameter(json{{"key", "t.bin"}}, "key").is_absolute());
}

TEST_F(windows_path_parameter, a_variable_that_only_the_system_knows_gives_the_path) {
  SetEnvironmentVariableW(L"VELTRA_TEST_TRACE", L"C:\\\x00DC \x65E5");
  EXPECT_EQ(resolve("${env:VELTRA_TEST_TRACE}"), std::string("C:\\") + foreign);
  SetEnvironmentVariableW(L"VELTRA_TEST_TRACE", nullptr);
}

TEST_F(windows_path_parameter, a_file_behind_a_device_root_is_found) {
  test_support::temp_directory directory;
  const auto file = directory.write("t.bin", "here");
  EXPECT_TRUE(std::filesystem::exists(path_from_utf8(
      resolve("\\\\?\\" + path_to_utf8(std::filesystem::absolute(file).make_preferred())))));
}

}  // namespace
