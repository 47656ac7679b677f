#include "platform/environment.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/environment_variable.h"

namespace {

using platform::find_environment_variable;
using test_support::environment_variable;

TEST(environment, tells_an_empty_variable_from_one_that_is_not_set) {
  const environment_variable a("VELTRA_TEST_A", "value");
  const environment_variable b("VELTRA_TEST_B", "");
  const environment_variable c("VELTRA_TEST_C", std::nullopt);
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_A"), "value");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_B"), "");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_C"), std::nullopt);
}

TEST(environment, a_name_that_no_variable_can_have_is_not_found) {
  const environment_variable a("VELTRA_TEST_A", "value");
  EXPECT_EQ(find_environment_variable(""), std::nullopt);
  EXPECT_EQ(find_environment_variable(std::string("VELTRA_TEST_A\0B", 15)), std::nullopt);
}

}  // namespace
