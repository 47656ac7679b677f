#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/commands/commands.h"
#include "tests/unit/host/run/run_fixture.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class version_test : public run_test {};

TEST_F(version_test, the_version_is_one_line) {
  EXPECT_THAT(describe_version(false), AllOf(StartsWith("veltra "), Not(HasSubstr("\n"))));
}

// The plug-in is not beside this program.
TEST_F(version_test, a_plug_in_that_cannot_be_loaded_is_reported_and_no_failure) {
  EXPECT_THAT(describe_version(true), AllOf(StartsWith(describe_version(false) + "\n"),
                                            HasSubstr("\nplug-in: there is no ")));
}

TEST_F(version_test, verbose_belongs_to_the_version) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(veltra({"--version", "--verbose"}), exit_code::ok);
  EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("\nplug-in: "));
  EXPECT_EQ(veltra({"--verbose"}), exit_code::usage);
  EXPECT_EQ(veltra({"--verbose", "devices"}), exit_code::usage);
}

}  // namespace
}  // namespace veltra::host
