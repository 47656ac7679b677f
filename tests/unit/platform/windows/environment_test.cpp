// The two environments of a Windows process: the C library's and the system's.
#include "platform/environment.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <string>

#include "platform/windows/system.h"

namespace {

using platform::find_environment_variable;

// A variable of the system's own list, which the C library has copied long before.
class system_variable {
 public:
  system_variable(const wchar_t* name, const wchar_t* value) : name_(name) {
    EXPECT_TRUE(SetEnvironmentVariableW(name, value));
  }
  system_variable(const system_variable&) = delete;
  system_variable& operator=(const system_variable&) = delete;
  ~system_variable() { SetEnvironmentVariableW(name_, nullptr); }

 private:
  const wchar_t* name_;
};

// The C library copies the system's variables when it is asked for the first one.
class windows_environment_copy : public testing::Test {
 protected:
  void SetUp() override { static_cast<void>(_wgetenv(L"PATH")); }
};

TEST_F(windows_environment_copy, a_variable_that_only_the_system_knows_is_found) {
  const system_variable variable(L"VELTRA_TEST_SYSTEM", L"value");
  ASSERT_EQ(_wgetenv(L"VELTRA_TEST_SYSTEM"), nullptr);
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_SYSTEM"), "value");
}

TEST_F(windows_environment_copy, an_empty_value_of_the_system_is_found) {
  const system_variable variable(L"VELTRA_TEST_SYSTEM", L"");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_SYSTEM"), "");
}

TEST(windows_environment, the_c_library_is_asked_first) {
  ASSERT_EQ(_wputenv(L"VELTRA_TEST_BOTH=of the C library"), 0);
  const system_variable variable(L"VELTRA_TEST_BOTH", L"of the system");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_BOTH"), "of the C library");
  _wputenv(L"VELTRA_TEST_BOTH=");
}

TEST(windows_environment, names_and_values_are_utf_8) {
  const system_variable variable(L"VELTRA_TEST_\x00DC\x65E5", L"\x20AC \xD83D\xDCE1");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_\xC3\x9C\xE6\x97\xA5"),
            "\xE2\x82\xAC \xF0\x9F\x93\xA1");
}

TEST(windows_environment, a_long_value_comes_whole) {
  const std::wstring value(32000, L'v');
  const system_variable variable(L"VELTRA_TEST_SYSTEM", value.c_str());
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_SYSTEM"), std::string(value.size(), 'v'));
}

TEST(windows_environment, names_are_the_same_in_either_letter_case) {
  const system_variable variable(L"VELTRA_TEST_SYSTEM", L"value");
  EXPECT_EQ(find_environment_variable("veltra_test_system"), "value");
}

TEST(windows_environment, what_neither_knows_is_not_set) {
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_NEITHER"), std::nullopt);
}

}  // namespace
