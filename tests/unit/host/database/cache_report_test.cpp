#include "host/database/cache_report.h"

#include <gmock/gmock.h>

#include "host/user_error.h"
#include "implementation/json.h"
#include "tests/support/paths.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
using testing::Not;

cached_database database(database_state state, const std::string& reason = "") {
  return {"modem-a", "1.0", "uuid-1", "${root}fw.json", "c/fw.json", state, reason};
}

TEST(cache_table, an_empty_cache_has_a_heading_only) {
  EXPECT_EQ(format_cache_table({}), "DEVICE  VERSION  UUID  STATE  FILE\n");
}

TEST(cache_table, columns_are_as_wide_as_their_longest_text) {
  EXPECT_EQ(
      format_cache_table({database(database_state::intact),
                          {"b", "10.20.30", "u", "", "c/b.json", database_state::missing, ""}}),
      "DEVICE   VERSION   UUID    STATE    FILE\n"
      "modem-a  1.0       uuid-1  intact   c/fw.json\n"
      "b        10.20.30  u       missing  c/b.json\n");
}

TEST(cache_table, names_do_not_steer_the_terminal) {
  cached_database steering = database(database_state::missing);
  steering.device = "\x1b[2J";
  EXPECT_THAT(format_cache_table({steering}), Not(HasSubstr("\x1b")));
  EXPECT_THAT(describe_fault(steering), Not(HasSubstr("\x1b")));
}

TEST(cache_json, has_everything_and_the_reason_where_there_is_one) {
  const auto list = kovax::json::parse(format_cache_json(
      {database(database_state::intact), database(database_state::hidden, "why")}));
  EXPECT_EQ(list, kovax::json::parse(R"([
    {"device": "modem-a", "version": "1.0", "uuid": "uuid-1", "file": "c/fw.json",
     "intact": true, "state": "intact"},
    {"device": "modem-a", "version": "1.0", "uuid": "uuid-1", "file": "c/fw.json",
     "intact": false, "state": "hidden", "reason": "why"}])"));
}

TEST(cache_json, an_empty_cache_is_an_empty_array) {
  EXPECT_EQ(format_cache_json({}), "[]\n");
}

TEST(cache_json, names_that_are_not_utf8_do_not_end_it) {
  auto odd = database(database_state::intact);
  odd.file = "c" / test_support::name_without_text();
  EXPECT_THAT(format_cache_json({odd}), HasSubstr("\xEF\xBF\xBD.json"));
}

TEST(describe_fault, names_database_and_fault) {
  EXPECT_EQ(describe_fault(database(database_state::missing)),
            "modem-a 1.0 (uuid-1): missing, there is no c/fw.json");
  EXPECT_EQ(
      describe_fault(database(database_state::damaged)),
      "modem-a 1.0 (uuid-1): damaged, the digest of c/fw.json is not the one in the catalogue");
  EXPECT_EQ(describe_fault(database(database_state::unreadable, "cannot open file: c/fw.json")),
            "modem-a 1.0 (uuid-1): unreadable, cannot open file: c/fw.json");
  EXPECT_EQ(describe_fault(database(database_state::hidden, "the search takes a.json instead")),
            "modem-a 1.0 (uuid-1): c/fw.json is intact but not found by its UUID: the search takes "
            "a.json instead");
}

TEST(look_at_cache, a_cache_without_catalogue_is_a_refusal_with_the_command_that_helps) {
  const test_support::temp_directory cache;
  database_options options;
  options.cache = cache.path().string();
  try {
    look_at_cache(options);
    FAIL() << "nothing was thrown";
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), exit_code::bad_input);
    EXPECT_THAT(error.what(), HasSubstr("veltra db sync --cache " + options.cache));
  }
}

}  // namespace
}  // namespace veltra::host
