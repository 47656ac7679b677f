#include "platform/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using platform::find_environment_variable;

TEST(environment, tells_an_empty_variable_from_one_that_is_not_set) {
  setenv("VELTRA_TEST_A", "value", 1);
  setenv("VELTRA_TEST_B", "", 1);
  unsetenv("VELTRA_TEST_C");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_A"), "value");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_B"), "");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_C"), std::nullopt);
}

TEST(environment, a_name_that_no_variable_can_have_is_not_found) {
  setenv("VELTRA_TEST_A", "value", 1);
  EXPECT_EQ(find_environment_variable(""), std::nullopt);
  EXPECT_EQ(find_environment_variable(std::string("VELTRA_TEST_A\0B", 15)), std::nullopt);
}

}  // namespace
