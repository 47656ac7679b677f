#include "host/output/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/user_error.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class output_file_test : public testing::Test {
 protected:
  std::filesystem::path at(const char* name) const { return directory_.path() / name; }
  std::vector<std::string> names() const { return names_in(directory_.path()); }

  test_support::temp_directory directory_;
};

TEST_F(output_file_test, the_file_has_its_name_only_after_commit) {
  output_file file(at("out"));
  file.write("ab");
  file.write("c");
  EXPECT_EQ(file.size(), 3U);
  EXPECT_THAT(names(), ElementsAre(testing::AllOf(StartsWith("out."), testing::EndsWith(".part"))));
  file.commit();
  EXPECT_THAT(names(), ElementsAre("out"));
  EXPECT_EQ(content(at("out")), "abc");
}

TEST_F(output_file_test, without_commit_nothing_is_left_and_an_earlier_file_stays) {
  directory_.write("out", "before");
  {
    output_file file(at("out"));
    file.write("after");
  }
  EXPECT_THAT(names(), ElementsAre("out"));
  EXPECT_EQ(content(at("out")), "before");
}

TEST_F(output_file_test, a_missing_directory_is_named) {
  EXPECT_THAT(
      refusal_of([&] { output_file(at("no/out")); }, exit_code::output_failed),
      testing::AllOf(StartsWith("cannot write "), HasSubstr("no/out: there is no directory "),
                     HasSubstr("no; make it first, or give another name.")));
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(output_file_test, a_directory_is_refused_before_any_work) {
  EXPECT_THAT(refusal_of([&] { output_file(directory_.path()); }, exit_code::output_failed),
              HasSubstr("it is a directory; give the name of a file in it"));
}

TEST_F(output_file_test, what_cannot_get_its_name_can_stay_under_another) {
  std::filesystem::path left;
  {
    output_file file(at("out"));
    file.write("x");
    std::filesystem::create_directory(at("out"));
    EXPECT_THAT(refusal_of([&] { file.commit(); }, exit_code::output_failed), HasSubstr("out"));
    left = file.keep_part();
  }
  EXPECT_EQ(left.parent_path(), directory_.path());
  EXPECT_THAT(names(), ElementsAre("out", left.filename().string()));
  EXPECT_EQ(content(left), "x");
}

TEST_F(output_file_test, records_reach_the_file_when_they_are_many_or_on_request) {
  output_file file(at("out"));
  const auto part = directory_.path() / names().at(0);
  file.write("abc");
  EXPECT_EQ(content(part), "") << "few bytes are collected";
  file.flush();
  EXPECT_EQ(content(part), "abc");
  file.write(std::string(100'000, 'x'));
  EXPECT_EQ(content(part).size(), 100'003U);
}

TEST_F(output_file_test, a_dash_is_standard_output) {
  testing::internal::CaptureStdout();
  output_file file("-");
  file.write("abc");
  file.commit();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "abc");
}

}  // namespace
}  // namespace veltra::host
