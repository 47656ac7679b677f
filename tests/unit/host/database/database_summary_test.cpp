#include "host/database/database_summary.h"

#include <gmock/gmock.h>

#include "host/user_error.h"
#include "platform/file.h"
#include "tests/support/database_builder.h"
#include "tests/support/tar_builder.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;

class database_summary_test : public testing::Test {
 protected:
  std::string summary(const std::string& name, const std::string& content) {
    return summarize_database_file(directory.write(name, content)).text;
  }

  std::string refusal(const std::string& name, const std::string& content) {
    try {
      summary(name, content);
    } catch (const user_error& error) {
      EXPECT_EQ(error.code(), exit_code::bad_input);
      return error.what();
    }
    return "no error";
  }

  test_support::temp_directory directory;
};

TEST_F(database_summary_test, shows_identity_and_counts) {
  auto database = test_support::conversion_database();
  database["traces"] = kovax::json::parse(R"([{"id": 1}, {"id": 2}, {"id": 3}])");
  EXPECT_THAT(summary("db.json", database.dump()),
              AllOf(HasSubstr("db.json: 1 database\n"),
                    ContainsRegex("UUID +0a1b2c3d-0000-4000-8000-00112233aabb\n"),
                    ContainsRegex("decoder configured by +MCU\n"), HasSubstr("\nMCU\n"),
                    ContainsRegex("\n  id +33\n"), ContainsRegex("byte order +little\n"),
                    ContainsRegex("trace id size +4 bytes\n"), ContainsRegex("traces +3\n"),
                    ContainsRegex("buffers +6\n"), ContainsRegex("type descriptors +3\n")));
}

TEST_F(database_summary_test, programs_get_the_same_as_json) {
  auto database = test_support::conversion_database();
  database["traces"] = kovax::json::parse(R"([{"id": 1}, {"id": 2}])");
  const auto shown =
      kovax::json::parse(summarize_database_file(directory.write("db.json", database.dump())).json);
  EXPECT_EQ(shown.at("uuid"), "0a1b2c3d-0000-4000-8000-00112233aabb");
  EXPECT_EQ(shown.at("decoder_configured_by"), "MCU");
  ASSERT_EQ(shown.at("databases").size(), 1U);
  EXPECT_EQ(shown.at("databases")[0].at("id"), 33);
  EXPECT_EQ(shown.at("databases")[0].at("traces"), 2);
  EXPECT_EQ(shown.at("databases")[0].at("byte_order"), "little");
}

TEST_F(database_summary_test, every_database_of_an_archive_is_shown) {
  auto other = test_support::minimal_database();
  other["meta"]["name"] = "M4";
  other["meta"]["endianness"] = "big";
  const std::string archive = test_support::compress(test_support::tar_archive(
      {{"m4.json", other.dump()}, {"mcu.json", test_support::conversion_database().dump()}}));
  EXPECT_THAT(
      summary("db.tar.gz", archive),
      AllOf(HasSubstr("db.tar.gz: 2 databases\n"), HasSubstr("\nM4\n"), HasSubstr("\nMCU\n"),
            ContainsRegex("decoder configured by +MCU\n"), ContainsRegex("byte order +big\n")));
}

TEST_F(database_summary_test, a_file_without_configuration_is_shown_as_such) {
  auto database = test_support::minimal_database();
  database["meta"].erase("connection_configs");
  EXPECT_THAT(summary("db.json", database.dump()), HasSubstr("none: a decoder cannot be set up"));
}

TEST_F(database_summary_test, what_is_no_database_is_refused_by_name) {
  EXPECT_THAT(refusal("db.json", "no JSON"),
              AllOf(HasSubstr("db.json: is not JSON: parse error at line 1, column 2"),
                    HasSubstr("; all its faults: veltra db lint "), EndsWith("db.json")));
  EXPECT_THAT(refusal("db.gz", "no archive"),
              HasSubstr("db.gz: not a gzip-compressed archive, or damaged: "));
  EXPECT_THAT(refusal("db.txt", "{}"), HasSubstr("db.txt: Database file extension needs to be"));
}

TEST_F(database_summary_test, a_file_that_is_not_there_is_refused) {
  EXPECT_THROW(summarize_database_file(directory.path() / "none.json"), user_error);
}

}  // namespace
}  // namespace veltra::host
