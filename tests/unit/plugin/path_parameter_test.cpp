#include "plugin/path_parameter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "implementation/json.h"
#include "plugin/errors.h"
#include "tests/support/environment_variable.h"
#include "tests/support/paths.h"

namespace {

using kovax::json;
using test_support::environment_variable;
using veltra::expand_env_variables;
using veltra::resolve_path_parameter;

class path_parameter : public ::testing::Test {
 protected:
  static std::string resolve(const std::string& text) {
    return resolve_path_parameter(json{{"key", text}}, "key").string();
  }

  const environment_variable value_{"VELTRA_TEST_VALUE", "the value"};
  const environment_variable empty_{"VELTRA_TEST_EMPTY", ""};
  const environment_variable odd_{"A}x", "odd name"};
  const environment_variable unset_{"VELTRA_TEST_UNSET", std::nullopt};
  const environment_variable home_{"HOME", "/home/somebody"};
  const std::string drive_ = test_support::drive;
};

TEST_F(path_parameter, a_whole_reference_is_replaced_by_the_value) {
  EXPECT_EQ(expand_env_variables("${env:VELTRA_TEST_VALUE}"), "the value");
  EXPECT_EQ(expand_env_variables("${env:VELTRA_TEST_EMPTY}"), "");
}

TEST_F(path_parameter, env_may_be_written_in_any_letter_case) {
  EXPECT_EQ(expand_env_variables("${ENV:VELTRA_TEST_VALUE}"), "the value");
  EXPECT_EQ(expand_env_variables("${eNv:VELTRA_TEST_VALUE}"), "the value");
}

TEST_F(path_parameter, a_name_reaches_to_the_last_brace) {
  EXPECT_EQ(expand_env_variables("${env:A}x}"), "odd name");
}

TEST_F(path_parameter, text_around_a_reference_makes_it_literal) {
  for (const char* text :
       {"x${env:VELTRA_TEST_VALUE}", "${env:VELTRA_TEST_VALUE}x", "${env:VELTRA_TEST_VALUE",
        "$env:VELTRA_TEST_VALUE}", "${VELTRA_TEST_VALUE}", "${env}", "", "${env:A\nB}",
        "${env:A\rB}", "[{env:A}", "${env;A}", "${e^v:A}"}) {
    EXPECT_EQ(expand_env_variables(text), text);
  }
}

TEST_F(path_parameter, a_variable_that_is_not_set_is_refused_with_its_name) {
  for (const char* name : {"VELTRA_TEST_UNSET", ""}) {
    try {
      expand_env_variables(std::string("${env:") + name + "}");
      ADD_FAILURE() << "found " << name;
    } catch (const kovax::kovax_exception& error) {
      EXPECT_EQ(error.what(), std::string("failed to find env variable: ") + name);
      EXPECT_EQ(error.code(), 1);
    }
  }
}

TEST_F(path_parameter, a_value_that_is_no_string_is_a_type_error) {
  try {
    expand_env_variables(json(5));
    ADD_FAILURE() << "5 was taken";
  } catch (const json::type_error& error) {
    EXPECT_NE(std::string(error.what()).find("type must be string, but is number"),
              std::string::npos);
  }
}

TEST_F(path_parameter, an_absent_member_or_an_empty_text_gives_the_empty_path) {
  EXPECT_TRUE(resolve_path_parameter(json::object(), "key").empty());
  EXPECT_TRUE(resolve_path_parameter(json::array({"key"}), "key").empty());
  EXPECT_TRUE(resolve_path_parameter(json(), "key").empty());
  EXPECT_EQ(resolve(""), "");
  EXPECT_EQ(resolve("${env:VELTRA_TEST_EMPTY}"), "");
}

TEST_F(path_parameter, a_relative_path_is_joined_to_the_working_directory) {
  const std::filesystem::path here = std::filesystem::current_path();
  EXPECT_EQ(resolve("a/b.bin"), (here / "a/b.bin").string());
  EXPECT_EQ(resolve("x${env:VELTRA_TEST_VALUE}"), (here / "x${env:VELTRA_TEST_VALUE}").string());
}

TEST_F(path_parameter, a_tilde_in_a_relative_path_is_a_name) {
  EXPECT_EQ(resolve("~/trace.bin"), (std::filesystem::current_path() / "~/trace.bin").string());
}

TEST_F(path_parameter, the_first_tilde_of_an_absolute_path_becomes_the_home_directory) {
  EXPECT_EQ(resolve(drive_ + "/~/trace~.bin"), drive_ + "//home/somebody/trace~.bin");
  EXPECT_EQ(resolve(drive_ + "/data/a~b"), drive_ + "/data/a/home/somebodyb");
}

TEST_F(path_parameter, an_absolute_path_without_a_tilde_is_taken_as_it_is) {
  EXPECT_EQ(resolve(drive_ + "/data/../trace.bin"), drive_ + "/data/../trace.bin");
}

TEST_F(path_parameter, a_tilde_without_a_home_directory_is_refused) {
  const environment_variable no_home("HOME", std::nullopt);
  EXPECT_THROW(resolve(drive_ + "/~/trace.bin"), kovax::kovax_exception);
  EXPECT_EQ(resolve(drive_ + "/trace.bin"), drive_ + "/trace.bin");
}

}  // namespace
