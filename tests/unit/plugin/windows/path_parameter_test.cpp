// Drives, network roots and the two look-ups of environment variables.
#include "plugin/path_parameter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/file.h"
#include "platform/windows/system.h"
#include "plugin/errors.h"
#include "tests/support/environment_variable.h"

namespace {

using kovax::json;
using test_support::environment_variable;
using veltra::expand_env_variables;

std::string resolve(const std::string& text) {
  return platform::path_to_utf8(veltra::resolve_path_parameter(json{{"key", text}}, "key"));
}

// What joining a path to the working directory gives.
std::string joined(const std::string& text) {
  return platform::path_to_utf8(std::filesystem::current_path() / platform::path_from_utf8(text));
}

class windows_path : public ::testing::Test {
 protected:
  const environment_variable home_{"HOME", "somebody"};
};

TEST_F(windows_path, a_drive_with_either_separator_is_absolute) {
  EXPECT_EQ(resolve("C:\\data\\trace.bin"), "C:\\data\\trace.bin");
  EXPECT_EQ(resolve("d:/data/trace.bin"), "d:/data/trace.bin");
}

TEST_F(windows_path, a_tilde_behind_a_drive_becomes_the_home_directory) {
  EXPECT_EQ(resolve("C:\\~\\trace.bin"), "C:\\somebody\\trace.bin");
  EXPECT_EQ(resolve("C:\\PROGRA~1\\~"), "C:\\PROGRAsomebody1\\~");
}

TEST_F(windows_path, a_network_root_is_absolute) {
  EXPECT_EQ(resolve("\\\\server\\share\\trace.bin"), "\\\\server\\share\\trace.bin");
  EXPECT_EQ(resolve("//server/share/~/trace.bin"), "//server/share/somebody/trace.bin");
}

TEST_F(windows_path, without_a_drive_or_without_a_separator_a_path_is_relative) {
  for (const char* text : {"\\~\\trace.bin", "/~/trace.bin", "C:~\\trace.bin", "~\\trace.bin"}) {
    EXPECT_EQ(resolve(text), joined(text)) << text;
    EXPECT_NE(resolve(text).find('~'), std::string::npos) << text;
  }
}

TEST_F(windows_path, names_that_no_code_page_has_come_through) {
  const std::string text = "C:\\Spur \xC3\xA4 \xE6\x97\xA5\xF0\x9F\x93\xA1\\trace.bin";
  EXPECT_EQ(resolve(text), text);
}

TEST_F(windows_path, a_variable_that_only_the_system_knows_is_found) {
  ASSERT_NE(SetEnvironmentVariableA("VELTRA_TEST_SYSTEM", "C:\\data"), FALSE);
  ASSERT_EQ(std::getenv("VELTRA_TEST_SYSTEM"), nullptr);
  EXPECT_EQ(expand_env_variables("${env:VELTRA_TEST_SYSTEM}"), "C:\\data");
  EXPECT_EQ(resolve("${env:VELTRA_TEST_SYSTEM}"), "C:\\data");
  SetEnvironmentVariableA("VELTRA_TEST_SYSTEM", nullptr);
  EXPECT_THROW(expand_env_variables("${env:VELTRA_TEST_SYSTEM}"), kovax::kovax_exception);
}

TEST_F(windows_path, the_c_library_is_asked_before_the_system) {
  const environment_variable both("VELTRA_TEST_BOTH", "first");
  ASSERT_NE(SetEnvironmentVariableA("VELTRA_TEST_BOTH", "second"), FALSE);
  EXPECT_EQ(expand_env_variables("${env:VELTRA_TEST_BOTH}"), "first");
}

TEST_F(windows_path, the_value_of_a_variable_is_utf_8) {
  const environment_variable variable("VELTRA_TEST_NAME", "C:\\\xC3\xA4\\\xF0\x9F\x93\xA1");
  EXPECT_EQ(resolve("${env:VELTRA_TEST_NAME}"), "C:\\\xC3\xA4\\\xF0\x9F\x93\xA1");
}

TEST_F(windows_path, a_long_value_comes_whole) {
  const std::string value = "C:\\" + std::string(20000, 'x');
  ASSERT_NE(SetEnvironmentVariableA("VELTRA_TEST_LONG", value.c_str()), FALSE);
  EXPECT_EQ(expand_env_variables("${env:VELTRA_TEST_LONG}"), value);
  SetEnvironmentVariableA("VELTRA_TEST_LONG", nullptr);
}

}  // namespace
