#include "plugin/database/location.h"

#include <gmock/gmock.h>

namespace veltra {
namespace {

using kovax::json;
using testing::HasSubstr;

std::string error_of(std::string_view root, std::string_view location) {
  try {
    resolve_location(root, location);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no error";
}

json entry_with_path(const std::string& path) {
  return {{"database", {{"path", path}}}};
}

TEST(resolve_location_test, a_location_without_placeholder_is_used_as_it_stands) {
  EXPECT_EQ(resolve_location("http://root", "http://host/config.json"), "http://host/config.json");
  EXPECT_EQ(resolve_location("", "dbs/fw1.tar.gz"), "dbs/fw1.tar.gz");
  EXPECT_EQ(resolve_location("root", ""), "");
  EXPECT_EQ(resolve_location("root", "${Root}x"), "${Root}x");
}

TEST(resolve_location_test, the_root_takes_the_place_of_a_leading_placeholder) {
  EXPECT_EQ(resolve_location("file:///srv/dbs", "${root}config.json"),
            "file:///srv/dbs/config.json");
}

TEST(resolve_location_test, both_spellings_of_the_placeholder_are_known) {
  EXPECT_EQ(resolve_location("http://root", "${ROOT}config.json"), "http://root/config.json");
}

TEST(resolve_location_test, a_separator_is_put_between_even_before_another) {
  EXPECT_EQ(resolve_location("file:///srv/dbs", "${root}/config.json"),
            "file:///srv/dbs//config.json");
}

TEST(resolve_location_test, no_separator_is_put_behind_a_root_that_ends_with_one) {
  EXPECT_EQ(resolve_location("http://root/", "${root}a"), "http://root/a");
  EXPECT_EQ(resolve_location("C:\\dbs\\", "${root}a"), "C:\\dbs\\a");
}

TEST(resolve_location_test, a_leading_placeholder_needs_a_root) {
  EXPECT_EQ(error_of("", "${root}config.json"), "root missing from auto_detect_db_config");
  EXPECT_EQ(error_of("", "${ROOT}config.json"), "root missing from auto_detect_db_config");
}

TEST(resolve_location_test, a_placeholder_further_in_costs_the_first_seven_characters) {
  EXPECT_EQ(resolve_location("http://root", "0123456789${root}a"), "http://root/789${root}a");
  EXPECT_EQ(resolve_location("http://root", "x${ROOT}a"), "http://root/}a");
}

TEST(resolve_location_test, a_placeholder_further_in_and_no_root_is_no_error) {
  EXPECT_EQ(resolve_location("", "x${root}a"), "/}a");
}

TEST(resolve_location_test, the_spelling_in_small_letters_is_looked_for_first) {
  EXPECT_EQ(resolve_location("", "${ROOT}${root}"), "/${root}");  // found at 7: no failure
}

TEST(resolve_location_test, only_the_first_placeholder_is_replaced) {
  EXPECT_EQ(resolve_location("r", "${root}a${root}b"), "r/a${root}b");
}

TEST(cache_file_name_test, what_follows_a_leading_placeholder_is_the_name) {
  EXPECT_EQ(cache_file_name(entry_with_path("${root}fw.tar.gz")), "fw.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("${ROOT}fw.tar.gz")), "fw.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("${root}dbs/fw.tar.gz")), "dbs/fw.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("${root}/dbs/fw.tar.gz")), "/dbs/fw.tar.gz");
}

TEST(cache_file_name_test, otherwise_the_name_follows_the_last_slash) {
  EXPECT_EQ(cache_file_name(entry_with_path("dbs/fw1.tar.gz")), "fw1.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("http://host/a/b/fw.json")), "fw.json");
  EXPECT_EQ(cache_file_name(entry_with_path("a\\b/c\\fw.json")), "c\\fw.json");
  EXPECT_EQ(cache_file_name(entry_with_path("dbs/")), "");
}

TEST(cache_file_name_test, otherwise_the_name_follows_the_last_backslash) {
  EXPECT_EQ(cache_file_name(entry_with_path("dbs\\sub\\fw.json")), "fw.json");
}

TEST(cache_file_name_test, otherwise_the_whole_path_is_the_name) {
  EXPECT_EQ(cache_file_name(entry_with_path("fw.json")), "fw.json");
}

TEST(cache_file_name_test, a_placeholder_further_in_counts_for_nothing) {
  EXPECT_EQ(cache_file_name(entry_with_path("x/${root}fw.json")), "${root}fw.json");
  EXPECT_EQ(cache_file_name(entry_with_path("${ROOT}a/${root}fw.json")), "${root}fw.json");
}

TEST(cache_file_name_test, a_missing_or_wrong_path_is_a_type_error) {
  for (const char* entry :
       {R"({})", R"({"database":null})", R"({"database":{}})", R"({"database":{"path":7}})",
        R"({"database":"path"})", R"(null)", R"([])"}) {
    EXPECT_THROW(cache_file_name(json::parse(entry)), json::type_error) << entry;
  }
}

}  // namespace
}  // namespace veltra
