#include "host/database/publishing.h"

#include <gmock/gmock.h>

#include "host/database/provisioning.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "plugin/database/cached_database.h"
#include "plugin/database/catalogue.h"
#include "plugin/database/file_io.h"
#include "tests/support/database_builder.h"
#include "tests/support/tar_builder.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

namespace fs = std::filesystem;
using kovax::json;
using testing::AllOf;
using testing::HasSubstr;

class publishing_test : public testing::Test {
 protected:
  static constexpr const char* first_uuid = "11111111-aaaa-4bbb-8ccc-000000000001";
  static constexpr const char* second_uuid = "22222222-aaaa-4bbb-8ccc-000000000002";

  fs::path place(const std::string& name, const std::string& uuid) {
    json database = test_support::conversion_database();
    database["meta"]["uuid"] = uuid;
    const std::string text = database.dump();
    return directory_.write(
        name, name.ends_with(".gz")
                  ? test_support::compress(test_support::tar_archive({{"mcu.json", text}}))
                  : text);
  }

  template <typename Work>
  std::string refusal_of(const Work& work) {
    try {
      work();
    } catch (const user_error& error) {
      return error.what();
    }
    return "no error";
  }

  json catalogue(const std::string& in) const {
    return json::parse(read_file(catalogue_path(directory_.path() / in)));
  }

  fs::path dir() const { return directory_.path() / "dbs"; }

  test_support::temp_directory directory_;
};

TEST_F(publishing_test, every_database_is_listed_with_its_digest_and_syncs_into_a_cache) {
  place("dbs/fw1.tar.gz", first_uuid);
  place("dbs/fw2.json", second_uuid);
  directory_.write("dbs/readme.txt", "not a database");
  EXPECT_THAT(publish_databases(dir(), "lab"),
              AllOf(HasSubstr(std::string("fw1.tar.gz: lab fw1 (") + first_uuid + ")\n"),
                    HasSubstr("config.json: 2 databases\n")));
  database_options options;
  options.cache = platform::path_to_utf8(directory_.path() / "cache");
  options.update = true;
  options.locations = {"${root}config.json"};
  const std::string root = platform::path_to_utf8(dir());
  options.root = "file://" + std::string(root.starts_with('/') ? "" : "/") + root;
  provision_cache(options, {});
  for (const cached_database& each : list_cached_databases(directory_.path() / "cache")) {
    EXPECT_EQ(each.state, database_state::intact);
  }
}

TEST_F(publishing_test, a_second_catalogue_is_newer_and_keeps_the_names_given_before) {
  place("dbs/fw1.json", first_uuid);
  publish_databases(dir(), "lab");
  const json first = catalogue("dbs");
  json renamed = first;
  renamed["firmwares"]["devices"][0]["versions"][0]["version"] = "1.0.3";
  directory_.write("dbs/config.json", renamed.dump());
  place("dbs/fw2.json", second_uuid);
  publish_databases(dir(), "");
  const json second = catalogue("dbs");
  EXPECT_GT(updated_time(second), updated_time(first));
  EXPECT_EQ(second["firmwares"]["devices"][0]["type"], "lab");
  EXPECT_EQ(second["firmwares"]["devices"][0]["versions"][0]["version"], "1.0.3");
  EXPECT_EQ(second["firmwares"]["devices"][1]["type"], "modem");
}

TEST_F(publishing_test, what_has_a_fault_is_not_published) {
  place("dbs/fw1.json", first_uuid);
  directory_.write("dbs/fw2.json", "{}");
  EXPECT_THAT(refusal_of([&] { publish_databases(dir(), ""); }),
              AllOf(HasSubstr("fw2.json has 1 fault"), HasSubstr("veltra db lint")));
  EXPECT_FALSE(fs::exists(dir() / "config.json"));
  place("dbs/fw2.json", first_uuid);
  EXPECT_THAT(refusal_of([&] { publish_databases(dir(), ""); }), HasSubstr("have the same UUID"));
  place("dbs/fw2.json", "none");
  EXPECT_THAT(refusal_of([&] { publish_databases(dir(), ""); }), HasSubstr("has no UUID"));
  EXPECT_THAT(refusal_of([&] { publish_databases(dir(), "a/b"); }), HasSubstr("one name"));
  EXPECT_THAT(refusal_of([&] { publish_databases(directory_.path() / "no", ""); }),
              HasSubstr("cannot be listed"));
  fs::create_directory(directory_.path() / "empty");
  EXPECT_THAT(refusal_of([&] { publish_databases(directory_.path() / "empty", ""); }),
              HasSubstr("there is no .json or .gz file"));
}

TEST_F(publishing_test, a_database_added_by_hand_is_found_by_its_uuid) {
  const fs::path file = place("fw1.tar.gz", first_uuid);
  const fs::path cache = directory_.path() / "cache";
  EXPECT_THAT(add_database(file, cache, {}), HasSubstr(first_uuid));
  add_database(place("fw2.json", second_uuid), cache, {"lab", "2"});
  const auto databases = list_cached_databases(cache);
  ASSERT_EQ(databases.size(), 2U);
  EXPECT_EQ(databases[0].state, database_state::intact);
  EXPECT_EQ(databases[1].state, database_state::intact);
  EXPECT_EQ(databases[1].device, "lab");
  const auto trace = directory_.write("t.bin", std::string("UID %s ") + first_uuid + "..");
  database_options options;
  options.cache = platform::path_to_utf8(cache);
  EXPECT_THAT(find_database_of_trace(options, platform::path_to_utf8(trace)).file,
              HasSubstr("fw1.tar.gz"));
}

TEST_F(publishing_test, a_database_is_replaced_only_in_its_own_place) {
  const fs::path cache = directory_.path() / "cache";
  add_database(place("fw1.json", first_uuid), cache, {"lab", "1"});
  EXPECT_THAT(refusal_of([&] { add_database(place("new.json", first_uuid), cache, {}); }),
              AllOf(HasSubstr("already, as lab 1"), HasSubstr("--device")));
  add_database(place("new.json", first_uuid), cache, {"lab", "1"});
  const auto databases = list_cached_databases(cache);
  ASSERT_EQ(databases.size(), 1U);
  EXPECT_EQ(databases[0].file.filename(), "new.json");
  EXPECT_EQ(databases[0].state, database_state::intact) << databases[0].reason;
}

}  // namespace
}  // namespace veltra::host
