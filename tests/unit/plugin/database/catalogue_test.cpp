#include "plugin/database/catalogue.h"

#include <gmock/gmock.h>

#include <ctime>

#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/environment_variable.h"

namespace veltra {
namespace {

using kovax::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Local time in the tests is an hour ahead of UTC, and two in summer.
class timestamp_test : public testing::Test {
 protected:
  static std::int64_t units(const std::string& text) {
    return parse_catalogue_timestamp(text).time_since_epoch().count();
  }

 private:
  test_support::environment_variable zone_{"TZ", "CET-1CEST,M3.5.0,M10.5.0/3"};
};

constexpr std::int64_t second = 10'000'000;

TEST_F(timestamp_test, the_text_is_local_time_in_units_of_100_nanoseconds) {
  EXPECT_EQ(units("2024-01-02 03:04:05"), 1704161045 * second);
}

TEST_F(timestamp_test, the_text_is_standard_time_in_summer_too) {
  EXPECT_EQ(units("2024-07-01 12:00:00"), 1719831600 * second);  // 11:00:00 UTC
}

TEST_F(timestamp_test, later_texts_are_greater) {
  EXPECT_LT(units("2023-12-31 23:59:59"), units("2024-01-01 00:00:00"));
  EXPECT_LT(units("1971-01-01 00:00:00"), units("1971-01-01 00:00:01"));
}

TEST_F(timestamp_test, years_that_a_c_library_may_not_know_are_times_like_others) {
  EXPECT_EQ(units("1900-01-01 00:00:00"), (-2208988800 - 3600) * second);
  EXPECT_EQ(units("1969-12-31 23:59:59"), (-1 - 3600) * second);
  EXPECT_EQ(units("1970-01-01 00:00:00"), -3600 * second);
  EXPECT_EQ(units("3001-01-01 00:00:00"), (32535216000 - 3600) * second);
  EXPECT_EQ(units("4000-02-29 12:00:00"), (64065729600 - 3600) * second);
  EXPECT_EQ(units("9999-12-31 23:59:59"), (253402300799 - 3600) * second);
}

TEST_F(timestamp_test, years_that_a_c_library_may_not_know_have_no_daylight_saving_either) {
  EXPECT_EQ(units("9999-07-01 12:00:00"), (253386446400 - 3600) * second);
}

TEST_F(timestamp_test, a_text_that_does_not_match_is_not_an_error) {
  // The last day of 1899 is what an all-zero calendar means.
  const std::int64_t nothing = units("1900-01-01 00:00:00") - 24 * 3600 * second;
  EXPECT_EQ(units(""), nothing);
  EXPECT_EQ(units("yesterday"), nothing);
}

TEST_F(timestamp_test, what_was_read_before_the_mismatch_counts) {
  std::tm partly{};
  partly.tm_year = 124;
  partly.tm_mon = 4;
  EXPECT_EQ(units("2024-05"), std::mktime(&partly) * second);
  EXPECT_EQ(units("2024-05/17 10:11:12"), units("2024-05"));
  EXPECT_EQ(units("2024-05-17"), units("2024-05-17 00:00:00"));
  EXPECT_EQ(units("2024-05-17 10:11:xx"), units("2024-05-17 10:11:00"));
}

TEST_F(timestamp_test, what_follows_the_time_is_ignored) {
  EXPECT_EQ(units("2024-05-17 10:11:12.5 UTC"), units("2024-05-17 10:11:12"));
}

std::vector<std::string> visited(const std::string& text) {
  std::vector<std::string> versions;
  for_each_version(json::parse(text), [&](const std::string& type, const json& entry) {
    versions.push_back(type + "/" + entry.value("version", "?"));
  });
  return versions;
}

std::string type_error_of(const std::string& text) {
  try {
    visited(text);
  } catch (const json::type_error& error) {
    return error.what();
  }
  return "no error";
}

TEST(catalogue_test, versions_come_in_the_order_of_devices_and_versions) {
  EXPECT_THAT(visited(R"({"firmwares":{"devices":[
      {"type":"b","versions":[{"version":"2"},{"version":"1"}]},
      {"type":"a","versions":[]},
      {"type":"b","versions":[{"version":"2"}]}]}})"),
              ElementsAre("b/2", "b/1", "b/2"));
}

TEST(catalogue_test, other_members_are_ignored) {
  EXPECT_THAT(visited(R"({"schema":1,"firmwares":{"x":null,"devices":[{"type":"a","name":[],
      "versions":[{"version":"1","notes":{}}]}]}})"),
              ElementsAre("a/1"));
}

TEST(catalogue_test, an_empty_list_of_devices_is_not_an_error) {
  EXPECT_THAT(visited(R"({"firmwares":{"devices":[]}})"), IsEmpty());
}

TEST(catalogue_test, missing_or_null_lists_are_refused) {
  for (const char* text :
       {R"({})", R"(null)", R"({"firmwares":null})", R"({"firmwares":{}})",
        R"({"firmwares":{"devices":null}})", R"({"firmwares":{"devices":[{"type":"a"}]}})",
        R"({"firmwares":{"devices":[{"type":"a","versions":null}]}})"}) {
    EXPECT_THAT(type_error_of(text), HasSubstr("type must be array, but is null")) << text;
  }
}

TEST(catalogue_test, lists_of_another_type_are_refused) {
  EXPECT_THAT(type_error_of(R"({"firmwares":{"devices":{}}})"),
              HasSubstr("type must be array, but is object"));
  EXPECT_THAT(type_error_of(R"({"firmwares":{"devices":[{"type":"a","versions":"1"}]}})"),
              HasSubstr("type must be array, but is string"));
}

TEST(catalogue_test, a_device_without_type_is_refused) {
  EXPECT_THAT(type_error_of(R"({"firmwares":{"devices":[{"versions":[]}]}})"),
              HasSubstr("type must be string, but is null"));
  EXPECT_THAT(type_error_of(R"({"firmwares":{"devices":[null]}})"),
              HasSubstr("type must be string, but is null"));
}

TEST(catalogue_test, members_of_something_that_is_not_an_object_are_a_type_error) {
  for (const char* text :
       {R"([])", R"("x")", R"(7)", R"({"firmwares":[]})", R"({"firmwares":{"devices":[7]}})"}) {
    EXPECT_NE(type_error_of(text), "no error") << text;
  }
}

TEST(catalogue_test, entries_before_a_broken_one_are_visited) {
  std::vector<std::string> versions;
  const json catalogue = json::parse(R"({"firmwares":{"devices":[
      {"type":"a","versions":[{"version":"1"}]}, {"type":"b"}]}})");
  EXPECT_THROW(for_each_version(catalogue, [&](const std::string& type,
                                               const json&) { versions.push_back(type); }),
               json::type_error);
  EXPECT_THAT(versions, ElementsAre("a"));
}

TEST(catalogue_test, the_time_of_a_catalogue_is_its_updated_timestamp) {
  const json catalogue =
      json::parse(R"({"firmwares":{"updated_timestamp":"2024-05-01 12:00:00"}})");
  EXPECT_EQ(updated_time(catalogue), parse_catalogue_timestamp("2024-05-01 12:00:00"));
}

TEST(catalogue_test, a_missing_or_wrong_time_is_a_type_error) {
  for (const char* text : {R"({})", R"({"firmwares":{}})", R"({"firmwares":7})",
                           R"({"firmwares":{"updated_timestamp":17}})"}) {
    EXPECT_THROW(updated_time(json::parse(text)), json::type_error) << text;
  }
}

TEST(catalogue_test, a_database_lies_below_type_version_and_uuid) {
  const json entry =
      json::parse(R"({"version":"1.0","uuid":"UU-ID","database":{"path":"${root}fw.tar.gz"}})");
  const std::filesystem::path cache = "cache";
  EXPECT_EQ(catalogue_path(cache), cache / "config.json");
  const auto version = version_directory(cache, "modem-ä", entry);
  EXPECT_EQ(version, cache / platform::path_from_utf8("modem-ä") / "1.0");
  const auto directory = database_directory(version, entry);
  EXPECT_EQ(directory, version / "UU-ID");
  EXPECT_EQ(database_file(directory, entry), directory / "fw.tar.gz");
}

TEST(catalogue_test, a_rooted_name_takes_the_place_of_the_directory) {
  const json entry = json::parse(R"({"database":{"path":"${root}/dbs/fw.tar.gz"}})");
  EXPECT_EQ(database_file("/cache/type/1.0/uuid", entry), "/dbs/fw.tar.gz");
}

TEST(catalogue_test, an_entry_without_version_or_uuid_is_refused) {
  EXPECT_THROW(version_directory("c", "t", json::parse(R"({"uuid":"u"})")), json::type_error);
  EXPECT_THROW(database_directory("c", json::parse(R"({"version":"1"})")), json::type_error);
}

}  // namespace
}  // namespace veltra
