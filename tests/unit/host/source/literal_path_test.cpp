#include "host/source/literal_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"

namespace veltra::host {
namespace {

TEST(literal_path, an_ordinary_path_stays_as_it_is) {
  for (const char* path : {"t.bin", "/a/b.json", "a/../b", "~/t.bin", "a~b", "a/${env:HOME}"}) {
    EXPECT_EQ(literal_path(path), path);
  }
}

// The plug-in takes a text of the form ${env:NAME} for a variable's value.
TEST(literal_path, a_name_that_looks_like_a_variable_is_led_to_from_here) {
  EXPECT_EQ(literal_path("${env:HOME}"), "./${env:HOME}");
  EXPECT_EQ(literal_path("${root}/d.json"), "./${root}/d.json");
}

// In an absolute path the plug-in replaces a tilde.
TEST(literal_path, an_absolute_path_with_a_tilde_becomes_relative_and_leads_to_the_same_file) {
  test_support::temp_directory directory;
  const auto file = directory.write("a~b/t.bin", "here");
  const std::string path = literal_path(file);
  EXPECT_TRUE(platform::path_from_utf8(path).is_relative()) << path;
  EXPECT_EQ(content(platform::path_from_utf8(path)), "here");

  const test_support::working_directory inside(file.parent_path());
  const std::string from_here = literal_path(file);
  EXPECT_TRUE(platform::path_from_utf8(from_here).is_relative()) << from_here;
  EXPECT_EQ(platform::path_from_utf8(from_here).filename(), file.filename());
  EXPECT_EQ(content(platform::path_from_utf8(from_here)), "here");
}

}  // namespace
}  // namespace veltra::host
