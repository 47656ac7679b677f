// The settings of a synchronisation, its cache directory, and its catalogue.
#include "tests/unit/database_cache/cache_sync_fixture.h"

namespace veltra {
namespace {

// --- settings ---------------------------------------------------------------

TEST_F(cache_sync_test, settings_without_cache_directory_are_refused) {
  config_.erase("cache_directory");
  EXPECT_EQ(error_of_sync(), "cache_directory missing");
}

TEST_F(cache_sync_test, every_text_is_expanded) {
  publish(old_time, {database("fw.json", cached_)});
  const test_support::forward_proxy proxy;
  const std::map<std::string, std::string> values = {{"CACHE", path("")},
                                                     {"FIRST", "file:///no/such/config.json"},
                                                     {"SECOND", "${root}config.json"},
                                                     {"PROXY", proxy.address()},
                                                     {"ROOT", server_.url("")}};
  config_["cache_directory"] = "CACHE";
  config_["trace_db_locations"] = {"FIRST", "SECOND"};
  config_["proxy_setting"] = "PROXY";
  config_["root"] = "ROOT";
  expand_ = [&](const json& value) { return values.at(value.get<std::string>()); };
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), cached_);
  EXPECT_THAT(proxy.targets(), ElementsAre(server_.url("/config.json"), server_.url("/fw.json")));
}

TEST_F(cache_sync_test, locations_are_listed_as_they_were_before_the_expansion) {
  config_["trace_db_locations"] = {"FIRST"};
  expand_ = [](const json& value) {
    return value == "FIRST" ? "file:///no/such" : value.get<std::string>();
  };
  EXPECT_EQ(error_of_sync(),
            "Unable to download configuration content from any of the following locations:\n"
            "\tFIRST");
}

TEST_F(cache_sync_test, a_failure_of_the_expansion_passes_through) {
  expand_ = [](const json&) -> std::string { throw std::logic_error("not set"); };
  EXPECT_THROW(sync(), std::logic_error);
}

TEST_F(cache_sync_test, settings_of_the_wrong_type_are_type_errors) {
  const auto error_with = [&](const char* key, const json& value) {
    const json before = config_;
    config_[key] = value;
    const std::string error = error_of_sync();
    config_ = before;
    return error;
  };
  EXPECT_THAT(error_with("update_cache", "yes"), HasSubstr("type must be boolean, but is string"));
  EXPECT_THAT(error_with("update_cache", nullptr), HasSubstr("type must be boolean, but is null"));
  EXPECT_THAT(error_with("trace_db_locations", "url"),
              HasSubstr("type must be array, but is string"));
  EXPECT_THAT(error_with("trace_db_locations", {1}),
              HasSubstr("type must be string, but is number"));
  EXPECT_THAT(error_with("proxy_setting", 8080), HasSubstr("type must be string, but is number"));
  EXPECT_THAT(error_with("root", nullptr), HasSubstr("type must be string, but is null"));
  EXPECT_THAT(error_with("cache_directory", true),
              HasSubstr("type must be string, but is boolean"));
  EXPECT_THAT(server_.targets(), IsEmpty());
}

TEST_F(cache_sync_test, settings_are_read_before_anything_is_created) {
  config_["cache_directory"] = path("new");
  config_["root"] = 7;
  EXPECT_THROW(sync(), json::type_error);
  EXPECT_FALSE(fs::exists(path("new")));
}

// --- the cache directory ----------------------------------------------------

TEST_F(cache_sync_test, a_missing_cache_directory_is_created_with_its_parents) {
  publish(old_time, {});
  config_["cache_directory"] = path("a/b/c");
  sync();
  EXPECT_TRUE(fs::exists(path("a/b/c/config.json")));
}

TEST_F(cache_sync_test, the_cache_directory_is_created_before_locations_are_missed) {
  config_["cache_directory"] = path("new");
  config_.erase("trace_db_locations");
  EXPECT_EQ(error_of_sync(), "trace_db_locations when update_cache is true");
  EXPECT_TRUE(fs::is_directory(path("new")));
}

TEST_F(cache_sync_test, a_cache_directory_that_cannot_be_created_is_a_file_system_error) {
  cache_.write("file", "");
  config_["cache_directory"] = path("file/below");
  try {
    sync();
    FAIL() << "no error";
  } catch (const fs::filesystem_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("create_directories"));
    EXPECT_EQ(error.path1(), fs::path(path("file/below")));
  }
}

TEST_F(cache_sync_test, a_file_in_place_of_the_cache_directory_holds_no_catalogue) {
  cache_.write("file", "");
  config_["cache_directory"] = path("file");
  config_["update_cache"] = false;
  EXPECT_EQ(error_of_sync(), "cannot open file: " + path("file/config.json"));
}

TEST_F(cache_sync_test, a_catalogue_cannot_be_written_into_a_file) {
  publish(old_time, {});
  cache_.write("file", "");
  config_["cache_directory"] = path("file");
  EXPECT_EQ(error_of_sync(), "unable to open file to write: " + path("file/config.json"));
}

TEST_F(cache_sync_test, a_database_directory_that_cannot_be_created_is_a_file_system_error) {
  publish(old_time, {database("fw.json", cached_)});
  cache_.write("modem", "a file");
  EXPECT_THAT(error_of_sync(), HasSubstr("create_directories"));
}

// --- the catalogue -------------------------------------------------------------------

TEST_F(cache_sync_test, locations_are_needed_for_an_update) {
  config_.erase("trace_db_locations");
  EXPECT_EQ(error_of_sync(), "trace_db_locations when update_cache is true");
}

TEST_F(cache_sync_test, an_empty_list_of_locations_is_refused) {
  config_["trace_db_locations"] = json::array();
  EXPECT_EQ(error_of_sync(), "trace_db_locations is empty");
}

TEST_F(cache_sync_test, without_an_update_the_cached_catalogue_is_used) {
  const auto listed = database("fw.json", cached_);
  for (const char* update : {"absent", "false"}) {
    cache_catalogue(old_time, {listed});
    config_.erase("update_cache");
    if (update == std::string("false")) config_["update_cache"] = false;
    fs::remove_all(path("modem"));
    sync();
    EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), cached_) << update;
  }
  EXPECT_THAT(server_.targets(), ElementsAre("/fw.json", "/fw.json"));
}

TEST_F(cache_sync_test, without_an_update_the_list_of_locations_may_be_empty_or_absent) {
  cache_catalogue(old_time, {});
  config_["update_cache"] = false;
  config_["trace_db_locations"] = json::array();
  sync();
  config_.erase("trace_db_locations");
  sync();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(cache_sync_test, without_an_update_a_cache_without_catalogue_is_refused) {
  config_["update_cache"] = false;
  EXPECT_EQ(error_of_sync(), "cannot open file: " + path("config.json"));
  EXPECT_THAT(server_.targets(), IsEmpty());
}

TEST_F(cache_sync_test, the_first_catalogue_is_kept_as_it_came) {
  const std::string text = catalogue_of(old_time, {}).dump(4) + "\r\n";
  server_.answer("/config.json", text);
  sync();
  EXPECT_EQ(cached_file("config.json"), text);
  EXPECT_THAT(log_.lines(), ElementsAre(progress("Trying to download database config.json"),
                                        progress("write new config.json")));
}

TEST_F(cache_sync_test, a_newer_catalogue_replaces_the_cached_one) {
  cache_catalogue(old_time, {database("old.json", "old")});
  publish(new_time, {});
  sync();
  EXPECT_EQ(cached_file("config.json"), catalogue_of(new_time, {}).dump());
  EXPECT_THAT(log_.lines(), ElementsAre(progress("Trying to download database config.json"),
                                        progress("check if config.json is up-to-date"),
                                        progress("write new config.json")));
}

TEST_F(cache_sync_test, a_catalogue_of_the_same_time_or_older_does_not_replace_the_cached_one) {
  for (const char* published : {new_time, old_time}) {
    cache_catalogue(new_time, {});
    publish(published, {database("fw.json", cached_)});
    sync();
    EXPECT_EQ(cached_file("config.json"), catalogue_of(new_time, {}).dump());
    EXPECT_THAT(log_.lines(), ElementsAre(progress("Trying to download database config.json"),
                                          progress("check if config.json is up-to-date")));
  }
}

TEST_F(cache_sync_test, a_catalogue_of_the_far_future_is_newer_than_one_of_today) {
  cache_catalogue("9999-12-31 23:59:59", {});
  publish(new_time, {});
  sync();
  EXPECT_EQ(cached_file("config.json"), catalogue_of("9999-12-31 23:59:59", {}).dump());
}

TEST_F(cache_sync_test, a_time_that_cannot_be_read_is_older_than_any_other) {
  cache_catalogue("unknown", {});
  publish(old_time, {});
  sync();
  EXPECT_EQ(cached_file("config.json"), catalogue_of(old_time, {}).dump());
}

TEST_F(cache_sync_test, a_location_that_fails_is_logged_and_the_next_one_tried) {
  publish(old_time, {});
  server_.answer("/third", catalogue_of(new_time, {}).dump());
  config_["trace_db_locations"] = {"file:///no/such/config.json", "${root}config.json",
                                   server_.url("/third")};
  sync();
  EXPECT_THAT(log_.lines(), ElementsAre(progress("Trying to download database config.json"),
                                        log_line{5,
                                                 "Failed to download config.json. Reason: "
                                                 "Couldn't open file /no/such/config.json"},
                                        progress("Trying to download database config.json"),
                                        progress("write new config.json")));
  EXPECT_THAT(server_.targets(), ElementsAre("/config.json"));
  EXPECT_EQ(cached_file("config.json"), catalogue_of(old_time, {}).dump());
}

TEST_F(cache_sync_test, a_catalogue_that_is_cut_off_counts_as_failed) {
  http_response response;
  response.body = catalogue_of(new_time, {}).dump();
  response.cut_off_after = 10;
  server_.answer("/cut", response);
  publish(old_time, {});
  config_["trace_db_locations"] = {"${root}cut", "${root}config.json"};
  sync();
  EXPECT_THAT(log_.lines()[1].message,
              StartsWith("Failed to download config.json. Reason: transfer closed with"));
  EXPECT_EQ(cached_file("config.json"), catalogue_of(old_time, {}).dump());
}

TEST_F(cache_sync_test, locations_that_all_fail_are_listed_as_they_were_written) {
  config_["root"] = "file:///no/such";
  config_["trace_db_locations"] = {"${root}a/config.json", "file:///none"};
  EXPECT_EQ(error_of_sync(),
            "Unable to download configuration content from any of the following locations:\n"
            "\t${root}a/config.json\n\tfile:///none");
  EXPECT_EQ(log_.lines().size(), 4U);
  EXPECT_FALSE(fs::exists(path("config.json")));
}

TEST_F(cache_sync_test, an_update_that_fails_does_not_fall_back_to_the_cached_catalogue) {
  cache_catalogue(old_time, {});
  config_["trace_db_locations"] = {"file:///none"};
  EXPECT_THAT(error_of_sync(), StartsWith("Unable to download configuration content"));
  EXPECT_EQ(cached_file("config.json"), catalogue_of(old_time, {}).dump());
}

TEST_F(cache_sync_test, an_empty_body_ends_the_search_for_a_catalogue) {
  server_.answer("/empty", "");
  publish(old_time, {});
  config_["trace_db_locations"] = {"${root}empty", "${root}config.json"};
  EXPECT_EQ(error_of_sync(),
            "Unable to download configuration content from any of the following locations:\n"
            "\t${root}empty\n\t${root}config.json");
  EXPECT_THAT(server_.targets(), ElementsAre("/empty"));
}

TEST_F(cache_sync_test, a_location_with_placeholder_and_no_root_ends_the_operation) {
  config_.erase("root");
  config_["trace_db_locations"] = {"${root}config.json", server_.url("/config.json")};
  EXPECT_EQ(error_of_sync(), "root missing from auto_detect_db_config");
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(server_.targets(), IsEmpty());
}

TEST_F(cache_sync_test, a_location_may_do_without_a_root) {
  publish(old_time, {});
  config_.erase("root");
  config_["trace_db_locations"] = {server_.url("/config.json")};
  sync();
  EXPECT_TRUE(fs::exists(path("config.json")));
}

TEST_F(cache_sync_test, an_error_page_is_content_and_no_catalogue) {
  config_["trace_db_locations"] = {"${root}missing", "${root}config.json"};
  EXPECT_THROW(sync(), json::parse_error);
  EXPECT_EQ(cached_file("config.json"), "not here\n");  // nothing was there to compare it with
}

TEST_F(cache_sync_test, an_error_page_does_not_replace_a_cached_catalogue) {
  cache_catalogue(old_time, {});
  config_["trace_db_locations"] = {"${root}missing"};
  EXPECT_THROW(sync(), json::parse_error);
  EXPECT_EQ(cached_file("config.json"), catalogue_of(old_time, {}).dump());
}

TEST_F(cache_sync_test, a_cached_catalogue_that_cannot_be_parsed_is_an_error) {
  cache_.write("config.json", "{");
  publish(new_time, {});
  EXPECT_THROW(sync(), json::parse_error);
}

TEST_F(cache_sync_test, a_catalogue_without_devices_is_refused) {
  for (const char* devices : {"{}", R"({"devices":null})"}) {
    json catalogue = {{"firmwares", json::parse(devices)}};
    cache_.write("config.json", catalogue.dump());
    config_["update_cache"] = false;
    EXPECT_THAT(error_of_sync(), HasSubstr("type must be array, but is null"));
  }
}

}  // namespace
}  // namespace veltra
