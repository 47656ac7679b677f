#include "host/database/database_log.h"

#include <gmock/gmock.h>

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class database_log_test : public testing::Test {
 protected:
  void take(std::initializer_list<const char*> messages) {
    for (const char* message : messages) log.take(message);
  }

  database_log log;
};

TEST_F(database_log_test, knows_nothing_at_first) {
  EXPECT_THAT(log.uuid(), IsEmpty());
  EXPECT_EQ(log.rejected(), 0U);
  EXPECT_THAT(log.file(), IsEmpty());
  EXPECT_THAT(log.downloading(), IsEmpty());
}

TEST_F(database_log_test, keeps_the_reasons_of_locations_in_their_order) {
  take({"Trying to download database config.json", "Failed to download config.json. Reason: first",
        "Trying to download database config.json",
        "Failed to download config.json. Reason: second"});
  EXPECT_THAT(log.failed_locations(), ElementsAre("first", "second"));
}

TEST_F(database_log_test, a_location_without_a_reason_is_no_address) {
  take({"Failed to download config.json. Reason: "});
  EXPECT_THAT(log.failed_locations(), ElementsAre("that is no address to fetch from"));
}

TEST_F(database_log_test, a_download_is_under_way_until_the_next_database_is_checked) {
  take({"check database at path: a", "try download database: uuid-a"});
  EXPECT_EQ(log.file(), "a");
  EXPECT_EQ(log.downloading(), "uuid-a");
  take({"check database at path: b"});
  EXPECT_EQ(log.file(), "b");
  EXPECT_THAT(log.downloading(), IsEmpty());
}

TEST_F(database_log_test, the_last_candidate_that_is_not_rejected_is_the_uuid) {
  take({"Cached data for locating database UID: 100", "found UID: no",
        "uuid does not match regex, continue searching ", "found UID: yes"});
  EXPECT_EQ(log.uuid(), "yes");
  EXPECT_EQ(log.rejected(), 1U);
}

TEST_F(database_log_test, candidates_are_counted_once_although_each_pass_names_them_again) {
  for (int pass = 0; pass < 3; ++pass) {
    take({"Cached data for locating database UID: 100", "found UID: no",
          "uuid does not match regex, continue searching ", "found UID: nor this",
          "uuid does not match regex, continue searching "});
  }
  EXPECT_THAT(log.uuid(), IsEmpty());
  EXPECT_EQ(log.rejected(), 2U);
}

TEST_F(database_log_test, a_candidate_is_new_in_the_first_pass_that_names_it) {
  const auto reject = [&](const char* found) {
    take({found, "uuid does not match regex, continue searching "});
    return log.rejected_is_new();
  };
  take({"Cached data for locating database UID: 100"});
  EXPECT_TRUE(reject("found UID: first"));
  EXPECT_EQ(log.rejected_text(), "first");
  take({"Cached data for locating database UID: 200"});
  EXPECT_FALSE(reject("found UID: first"));
  EXPECT_TRUE(reject("found UID: first")) << "it stands in another place";
  take({"Cached data for locating database UID: 300"});
  EXPECT_FALSE(reject("found UID: first"));
}

TEST_F(database_log_test, keeps_the_searched_directories_and_the_one_that_was_found) {
  take({"try to locate db directory /c/a", "try to locate db directory /c/b",
        "db located at path: /c/b/uuid"});
  EXPECT_THAT(log.directories(), ElementsAre("/c/a", "/c/b"));
  EXPECT_EQ(log.located(), "/c/b/uuid");
}

}  // namespace
}  // namespace veltra::host
