#include "plugin/database/cache_sync.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <curlpp/Exception.hpp>

#include "platform/file.h"
#include "plugin/database/digest.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/environment_variable.h"
#include "tests/support/forward_proxy.h"
#include "tests/support/http_server.h"
#include "tests/support/recorded_log.h"
#include "tests/support/scripted_files.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using kovax::json;
using test_support::catalogue_of;
using test_support::http_response;
using test_support::http_server;
using test_support::listed_database;
using test_support::log_line;
using test_support::scripted_files;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* old_time = "2024-05-01 12:00:00";
constexpr const char* new_time = "2024-05-01 12:00:01";

log_line progress(const std::string& message) {
  return {2, message};
}

// A cache directory of its own, and a server that has a catalogue and files.
class cache_sync_test : public testing::Test {
 protected:
  cache_sync_test() { cached_.assign("database of fw1"); }

  // A database with its content, listed as "${root}NAME".
  listed_database database(const std::string& name, const std::string& content,
                           const std::string& version = "1.0") {
    server_.answer("/" + name, content);
    return {"modem", version, "uuid-of-" + name, "${root}" + name, sha256_hex(content)};
  }

  void publish(const std::string& updated, const std::vector<listed_database>& databases) {
    server_.answer("/config.json", catalogue_of(updated, databases).dump());
  }

  void cache_catalogue(const std::string& updated, const std::vector<listed_database>& databases) {
    cache_.write("config.json", catalogue_of(updated, databases).dump());
  }

  std::string cached_file(const std::string& name) { return read_file(cache_.path() / name); }

  std::string path(const std::string& name) {
    return platform::path_to_utf8(cache_.path() / platform::path_from_utf8(name));
  }

  void sync() {
    directories_.clear();
    log_.clear();
    sync_database_cache(log_.host_log(), config_, directories_, expand_, files_);
  }

  std::string error_of_sync() {
    try {
      sync();
    } catch (const std::exception& error) {
      return error.what();
    }
    return "no error";
  }

  std::vector<std::string> messages() const {
    std::vector<std::string> messages;
    for (const log_line& line : log_.lines()) messages.push_back(line.message);
    return messages;
  }

  // What the machine's own environment says about proxies is not under test.
  test_support::environment_variable http_proxy_{"http_proxy", std::nullopt};
  test_support::environment_variable all_proxy_{"all_proxy", std::nullopt};
  test_support::environment_variable ALL_PROXY_{"ALL_PROXY", std::nullopt};
  http_server server_;
  test_support::temp_directory cache_;
  scripted_files files_;
  test_support::recorded_log log_;
  std::vector<std::string> directories_;
  std::string cached_;
  json config_ = {{"cache_directory", platform::path_to_utf8(cache_.path())},
                  {"update_cache", true},
                  {"trace_db_locations", {"${root}config.json"}},
                  {"root", server_.url("")}};
  text_expansion expand_ = [](const json& value) { return value.get<std::string>(); };
};

// --- settings ---------------------------------------------------------------

TEST_F(cache_sync_test, settings_without_cache_directory_are_refused) {
  config_.erase("cache_directory");
  EXPECT_EQ(error_of_sync(), "cache_directory missing");
}

TEST_F(cache_sync_test, cache_directory_and_root_are_expanded_and_nothing_else) {
  publish(old_time, {database("fw.json", cached_)});
  config_["cache_directory"] = "CACHE";
  config_["root"] = "ROOT";
  config_["proxy_setting"] = "";
  std::vector<std::string> expanded;
  expand_ = [&](const json& value) {
    expanded.push_back(value);
    return value == "CACHE" ? path("") : server_.url("");
  };
  sync();
  EXPECT_THAT(expanded, ElementsAre("CACHE", "ROOT"));
  EXPECT_EQ(cached_file("modem/1.0/uuid-of-fw.json/fw.json"), cached_);
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

TEST_F(cache_sync_test, a_cache_directory_that_cannot_be_tested_is_a_file_system_error) {
  config_["cache_directory"] = path(std::string(300, 'x'));
  try {
    sync();
    FAIL() << "no error";
  } catch (const fs::filesystem_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("exists"));
    EXPECT_EQ(error.code(), std::errc::filename_too_long);
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

// --- the catalogue ----------------------------------------------------------

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

TEST_F(cache_sync_test, a_time_that_cannot_be_read_is_older_than_any_other) {
  cache_catalogue("unknown", {});
  publish(old_time, {});
  sync();
  EXPECT_EQ(cached_file("config.json"), catalogue_of(old_time, {}).dump());
}

TEST_F(cache_sync_test, a_location_that_fails_is_told_and_the_next_one_tried) {
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

// --- databases --------------------------------------------------------------

TEST_F(cache_sync_test, every_listed_database_is_downloaded_and_told_in_order) {
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

TEST_F(cache_sync_test, a_path_without_placeholder_is_the_address_as_it_stands) {
  auto listed = database("dbs/fw1.tar.gz", cached_);
  listed.uuid = "uuid";
  listed.path = server_.url("/dbs/fw1.tar.gz");
  publish(old_time, {listed});
  sync();
  EXPECT_EQ(cached_file("modem/1.0/uuid/fw1.tar.gz"), cached_);
}

TEST_F(cache_sync_test, a_relative_path_is_no_part_of_the_root) {
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
  EXPECT_EQ(error_of_sync(), "unable to open file to write: " + path("modem/1.0/uuid/dbs/fw.json"));
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
  EXPECT_THAT(directories_,
              ElementsAre(platform::path_to_utf8(fs::current_path() / "relative/modem/1.0")));
  EXPECT_EQ(messages()[2],
            "check database at path: " +
                platform::path_to_utf8(fs::path("relative/modem/1.0/uuid-of-fw.json/fw.json")));
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
  sync_database_cache({}, config_, directories_, expand_);
  EXPECT_EQ(directories_.size(), 1U);
}

TEST_F(cache_sync_test, what_the_log_callback_throws_passes_through) {
  publish(old_time, {});
  const host_log throwing = {
      [](kovax_source*, void*, int32_t, const char*) { throw std::logic_error("host"); }, nullptr};
  EXPECT_THROW(sync_database_cache(throwing, config_, directories_, expand_), std::logic_error);
}

}  // namespace
}  // namespace veltra
