// The databases that a catalogue lists, and what is logged and returned.
#include "tests/unit/plugin/database/cache_sync_fixture.h"

namespace veltra {
namespace {

// --- databases --------------------------------------------------------------

TEST_F(cache_sync_test, every_listed_database_is_downloaded_and_logged_in_order) {
  publish(old_time, {database("fw1.json", "one", "1.0"), database("fw2.tar.gz", "two", "2.0")});
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw1.json/fw1.json"), "one");
  EXPECT_EQ(cached_file("modem/2.0/uuid-of-fw2.tar.gz/fw2.tar.gz"), "two");
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(
          progress("Trying to download database config.json"), progress("write new config.json"),
          progress("check database at path: " + path("modem/1.0/uuid-of-fw1.json/fw1.json")),
          progress("try download database: uuid-of-fw1.json"),
          progress("check database at path: " + path("modem/2.0/uuid-of-fw2.tar.gz/fw2.tar.gz")),
          progress("try download database: uuid-of-fw2.tar.gz")));
  EXPECT_THAT(directories_, ElementsAre(path("modem/1.0"), path("modem/2.0")));
}

TEST_F(cache_sync_test, an_intact_database_is_kept) {
  publish(old_time, {database("fw.json", cached_)});
  sync();
  sync();
  EXPECT_THAT(server_.targets(), ElementsAre("/config.json", "/fw.json", "/config.json"));
  EXPECT_THAT(
      messages(),
      ElementsAre("Trying to download database config.json", "check if config.json is up-to-date",
                  "check database at path: " + path("modem/1.0/uuid-of-fw.json/fw.json")));
}

TEST_F(cache_sync_test, a_damaged_database_is_downloaded_again) {
  publish(old_time, {database("fw.json", cached_)});
  sync();
  for (const std::string& damaged :
       {std::string(), cached_.substr(1), cached_ + " ", std::string("Database of fw1")}) {
    cache_.write("modem/1.0/uuid-of-fw.json/fw.json", damaged);
    sync();
    EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), cached_);
  }
}

TEST_F(cache_sync_test, what_was_downloaded_is_checked_only_by_the_next_run) {
  auto listed = database("fw.json", cached_);
  listed.path = "${root}missing.json";
  publish(old_time, {listed});
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/missing.json"), "not here\n");
  server_.answer("/missing.json", cached_);
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/missing.json"), cached_);
  EXPECT_EQ(messages().back(), "try download database: uuid-of-fw.json");
}

TEST_F(cache_sync_test, a_digest_in_upper_case_never_matches) {
  auto listed = database("fw.json", cached_);
  for (char& c : listed.sha256) c = c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c;
  publish(old_time, {listed});
  sync();
  sync();
  sync();
  EXPECT_EQ(messages().back(), "try download database: uuid-of-fw.json");
}

TEST_F(cache_sync_test, an_empty_database_is_intact_if_the_catalogue_says_so) {
  publish(old_time, {database("empty.json", "")});
  sync();
  sync();
  EXPECT_THAT(server_.targets(), ElementsAre("/config.json", "/empty.json", "/config.json"));
}

TEST_F(cache_sync_test, a_digest_is_read_only_when_there_is_a_file_to_check) {
  json catalogue = catalogue_of(old_time, {database("fw.json", cached_)});
  catalogue["firmwares"]["devices"][0]["versions"][0]["database"].erase("sha256");
  server_.answer("/config.json", catalogue.dump());
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), cached_);
  EXPECT_THAT(error_of_sync(), HasSubstr("type must be string, but is null"));
}

TEST_F(cache_sync_test, a_failed_download_ends_the_walk) {
  auto missing = database("fw2.json", "two", "2.0");
  missing.path = "file:///no/such/fw2.json";
  publish(old_time,
          {database("fw1.json", "one", "1.0"), missing, database("fw3.json", "three", "3.0")});
  EXPECT_EQ(error_of_sync(), "Couldn't open file /no/such/fw2.json");
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw1.json/fw1.json"), "one");
  EXPECT_FALSE(fs::exists(path("modem/3.0")));
  EXPECT_THAT(directories_, ElementsAre(path("modem/1.0"), path("modem/2.0")));
  EXPECT_THROW(sync(), curlpp::RuntimeError);
}

TEST_F(cache_sync_test, a_download_that_is_cut_off_leaves_the_cached_file) {
  const auto listed = database("fw.json", cached_);
  publish(old_time, {listed});
  cache_.write("modem/1.0/uuid-of-fw.json/fw.json", "previous");
  http_response response;
  response.body = cached_;
  response.cut_off_after = 5;
  server_.answer("/fw.json", response);
  EXPECT_THAT(error_of_sync(), StartsWith("transfer closed with"));
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), "previous");
}

TEST_F(cache_sync_test, a_database_with_placeholder_and_no_root_ends_the_operation) {
  cache_catalogue(old_time, {database("fw.json", cached_)});
  config_.erase("root");
  config_["update_cache"] = false;
  EXPECT_EQ(error_of_sync(), "root missing from auto_detect_db_config");
}

TEST_F(cache_sync_test, an_intact_database_needs_no_root) {
  cache_catalogue(old_time, {database("fw.json", cached_)});
  cache_.write("modem/1.0/uuid-of-fw.json/fw.json", cached_);
  config_.erase("root");
  config_["update_cache"] = false;
  sync();
  EXPECT_THAT(server_.targets(), IsEmpty());
}

TEST_F(cache_sync_test, a_path_without_placeholder_is_the_address_itself) {
  auto listed = database("dbs/fw1.tar.gz", cached_);
  listed.uuid = "uuid";
  listed.path = server_.url("/dbs/fw1.tar.gz");
  publish(old_time, {listed});
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid/fw1.tar.gz"), cached_);
}

TEST_F(cache_sync_test, a_relative_path_is_not_a_part_of_the_root) {
  cache_catalogue(old_time, {{"modem", "1.0", "uuid", "dbs/fw1.tar.gz", sha256_hex(cached_)}});
  config_["update_cache"] = false;
  const test_support::forward_proxy proxy;  // spares the look-up of a host "dbs"
  config_["proxy_setting"] = proxy.address();
  sync();
  EXPECT_THAT(proxy.targets(), ElementsAre("http://dbs/fw1.tar.gz"));
  EXPECT_TRUE(fs::exists(path("modem/1.0/uuid/fw1.tar.gz")));
}

TEST_F(cache_sync_test, a_rooted_name_is_cached_outside_the_cache_directory) {
  const test_support::temp_directory outside;
  const std::string file = platform::path_to_utf8(outside.path() / "fw.json");
  server_.answer("/" + file, cached_);  // "//tmp/...": a separator is put between
  publish(old_time, {{"modem", "1.0", "uuid", "${root}" + file, sha256_hex(cached_)}});
  sync();
  EXPECT_EQ(read_file(outside.path() / "fw.json"), cached_);
  EXPECT_TRUE(fs::is_empty(path("modem/1.0/uuid")));
}

TEST_F(cache_sync_test, no_directories_are_made_for_a_name_with_subdirectories) {
  auto listed = database("dbs/fw.json", cached_);
  listed.uuid = "uuid";
  publish(old_time, {listed});
  EXPECT_EQ(error_of_sync(),
            "unable to open file to write: " + path("modem/1.0/uuid/") + "dbs/fw.json");
}

TEST_F(cache_sync_test, names_are_taken_from_the_catalogue_in_utf8) {
  auto listed = database("fw.json", cached_);
  listed.type = "modem-ä";
  listed.version = "1.0 β";
  publish(old_time, {listed});
  sync();
  EXPECT_THAT(directories_, ElementsAre(path("modem-ä/1.0 β")));
  EXPECT_TRUE(fs::exists(platform::path_from_utf8(path("modem-ä/1.0 β/uuid-of-fw.json/fw.json"))));
}

// --- the list of version directories ----------------------------------------

TEST_F(cache_sync_test, directories_come_in_the_catalogues_order_with_duplicates) {
  auto other = database("fw2.json", "two", "0.9");
  other.type = "another";
  publish(old_time, {database("fw1.json", "one", "2.0"), database("fw3.json", "three", "1.0"),
                     other, database("fw4.json", "four", "2.0")});
  sync();
  EXPECT_THAT(directories_, ElementsAre(path("modem/2.0"), path("modem/1.0"), path("another/0.9"),
                                        path("modem/2.0")));
}

TEST_F(cache_sync_test, directories_are_absolute_for_a_relative_cache_directory) {
  publish(old_time, {database("fw.json", cached_)});
  const test_support::working_directory working(cache_.path());
  config_["cache_directory"] = "relative";
  sync();
  EXPECT_THAT(directories_, ElementsAre(path("relative/modem/1.0")));
  EXPECT_EQ(messages()[2], "check database at path: " +
                               test_support::native("relative/modem/1.0/uuid-of-fw.json/fw.json"));
}

// --- downloads, files and the host ------------------------------------------

TEST_F(cache_sync_test, the_proxy_is_used_for_every_download) {
  publish(old_time, {database("fw.json", cached_)});
  test_support::forward_proxy proxy;
  config_["proxy_setting"] = proxy.address();
  sync();
  EXPECT_THAT(proxy.targets(), ElementsAre(server_.url("/config.json"), server_.url("/fw.json")));
}

TEST_F(cache_sync_test, a_catalogue_and_its_databases_may_lie_in_the_file_system) {
  const test_support::temp_directory source;
  source.write("fw.json", cached_);
  source.write("config.json", catalogue_of(old_time, {database("fw.json", cached_)}).dump());
  config_["root"] = "file://" + platform::path_to_utf8(source.path());
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), cached_);
  EXPECT_THAT(server_.targets(), IsEmpty());
}

TEST_F(cache_sync_test, a_read_only_cache_keeps_its_catalogue) {
  cache_catalogue(old_time, {});
  publish(new_time, {});
  files_.fail("create", EROFS);
  EXPECT_EQ(error_of_sync(), "unable to open file to write: " + path("config.json"));
  EXPECT_EQ(cached_file("config.json"), catalogue_of(old_time, {}).dump());
}

TEST_F(cache_sync_test, a_full_file_system_keeps_the_old_database) {
  publish(old_time, {database("fw.json", cached_)});
  sync();
  cache_.write("modem/1.0/uuid-of-fw.json/fw.json", "previous");
  files_.fail("write", ENOSPC);
  EXPECT_EQ(error_of_sync(),
            "unable to open file to write: " + path("modem/1.0/uuid-of-fw.json/fw.json"));
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), "previous");
}

TEST_F(cache_sync_test, messages_carry_no_instance) {
  publish(old_time, {});
  sync();
  ASSERT_FALSE(log_.lines().empty());
  for (const log_line& line : log_.lines()) EXPECT_EQ(line.source, nullptr);
}

TEST_F(cache_sync_test, a_host_without_log_callback_is_served_too) {
  publish(old_time, {database("fw.json", cached_)});
  sync_log no_log({});
  sync_database_cache(no_log, config_, directories_, expand_);
  EXPECT_EQ(directories_.size(), 1U);
}

// --- what a listener gets ------------------------------------------------------

using reported = std::pair<sync_step, std::string>;

struct recorded_steps : sync_listener {
  void on_step(sync_step step, const std::string& detail) override {
    steps.emplace_back(step, detail);
    if (step == failing) throw std::logic_error("listener");
  }
  std::vector<reported> steps;
  std::optional<sync_step> failing;
};

TEST_F(cache_sync_test, a_listener_gets_every_step_with_what_it_is_about) {
  cache_catalogue(old_time, {});
  publish(new_time, {database("fw1.json", "one", "1.0"), database("fw2.json", "two", "2.0")});
  cache_.write("modem/2.0/uuid-of-fw2.json/fw2.json", "two");
  config_["trace_db_locations"] = {"file:///no/such/config.json", "${root}config.json"};
  recorded_steps listener;
  sync_database_cache(listener, config_, directories_, expand_);
  EXPECT_THAT(
      listener.steps,
      ElementsAre(
          reported(sync_step::catalogue_requested, "file:///no/such/config.json"),
          reported(sync_step::catalogue_failed, "Couldn't open file /no/such/config.json"),
          reported(sync_step::catalogue_requested, "${root}config.json"),
          reported(sync_step::catalogue_compared, ""), reported(sync_step::catalogue_written, ""),
          reported(sync_step::database_checked, path("modem/1.0/uuid-of-fw1.json/fw1.json")),
          reported(sync_step::database_requested, "uuid-of-fw1.json"),
          reported(sync_step::database_checked, path("modem/2.0/uuid-of-fw2.json/fw2.json"))));
}

TEST_F(cache_sync_test, what_a_listener_throws_ends_the_work_and_passes_through) {
  cache_catalogue(old_time, {});
  publish(new_time, {database("fw.json", cached_)});
  config_["trace_db_locations"] = {"file:///no/such/config.json", "${root}config.json"};
  for (const sync_step failing :
       {sync_step::catalogue_requested, sync_step::catalogue_failed, sync_step::catalogue_compared,
        sync_step::catalogue_written, sync_step::database_checked, sync_step::database_requested}) {
    cache_catalogue(old_time, {});
    recorded_steps listener;
    listener.failing = failing;
    EXPECT_THROW(sync_database_cache(listener, config_, directories_, expand_), std::logic_error);
    EXPECT_EQ(listener.steps.back().first, failing);
  }
}

TEST_F(cache_sync_test, settings_that_cannot_be_worked_with_have_a_kind) {
  const auto fault_of = [&](const json& changes) {
    json config = config_;
    config.merge_patch(changes);  // null removes
    sync_log no_log({});
    try {
      sync_database_cache(no_log, config, directories_, expand_);
    } catch (const cache_settings_error& error) {
      return std::optional(error.fault());
    }
    return std::optional<cache_settings_fault>();
  };
  using fault = cache_settings_fault;
  publish(old_time, {});
  EXPECT_EQ(fault_of({{"cache_directory", nullptr}}), fault::cache_directory_missing);
  EXPECT_EQ(fault_of({{"trace_db_locations", nullptr}}), fault::locations_missing);
  EXPECT_EQ(fault_of({{"trace_db_locations", json::array()}}), fault::locations_empty);
  EXPECT_EQ(fault_of({{"trace_db_locations", {"file:///none"}}}), fault::no_location_answered);
  EXPECT_EQ(fault_of({{"root", nullptr}}), fault::root_missing);
  EXPECT_EQ(fault_of(json::object()), std::nullopt);
}

}  // namespace
}  // namespace veltra
