#include "host/output/same_file.h"

#include <gtest/gtest.h>

#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

class same_file_test : public testing::Test {
 protected:
  std::filesystem::path at(const char* name) const { return directory_.path() / name; }

  test_support::temp_directory directory_;
};

TEST_F(same_file_test, is_seen_through_hard_links_and_spellings) {
  directory_.write("a", "x");
  directory_.write("other", "x");
  std::filesystem::create_hard_link(at("a"), at("b"));
  EXPECT_TRUE(is_same_file(at("a"), at("b")));
  EXPECT_TRUE(is_same_file(at("a"), at(".") / "a"));
  EXPECT_FALSE(is_same_file(at("a"), at("other")));
}

TEST_F(same_file_test, need_not_be_there) {
  EXPECT_TRUE(is_same_file(at("none"), at(".") / "none"));
  EXPECT_FALSE(is_same_file(at("none"), at("neither")));
}

TEST_F(same_file_test, has_a_name) {
  EXPECT_FALSE(is_same_file("", ""));
  EXPECT_FALSE(is_same_file(at("a"), ""));
}

TEST_F(same_file_test, a_cache_has_its_catalogue_and_databases) {
  std::filesystem::create_directories(at("cache") / "device" / "1.0");
  directory_.write("cache/config.json", "{}");
  directory_.write("cache/device/1.0/a.tar.gz", "x");
  directory_.write("cache/out.pcapng", "x");
  directory_.write("cache2.json", "x");
  EXPECT_TRUE(is_file_of_cache(at("cache/config.json"), at("cache")));
  EXPECT_TRUE(is_file_of_cache(at("cache/device/1.0/a.tar.gz"), at("cache/")));
  EXPECT_TRUE(is_file_of_cache(at("cache/device/../config.json"), at("./cache")));
  EXPECT_FALSE(is_file_of_cache(at("cache/out.pcapng"), at("cache"))) << "a capture";
  EXPECT_FALSE(is_file_of_cache(at("cache/new.json"), at("cache"))) << "not there";
  EXPECT_FALSE(is_file_of_cache(at("cache2.json"), at("cache")));
  EXPECT_FALSE(is_file_of_cache(at("cache/config.json"), ""));
}

}  // namespace
}  // namespace veltra::host
