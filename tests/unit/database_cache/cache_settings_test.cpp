// The settings of a synchronisation, and its cache directory.
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

}  // namespace
}  // namespace veltra
