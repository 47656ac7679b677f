// The cache is kept within kovax_source_init.
#include <filesystem>
#include <string>

#include "tests/abi/auto_detect_fixture.h"
#include "tests/support/environment_variable.h"

namespace {

namespace fs = std::filesystem;
using kovax::json;
using test_support::catalogue_of;
using test_support::first_uuid;
using test_support::log_line;
using test_support::second_uuid;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class auto_detect_test : public test_support::auto_detect_fixture {
 protected:
  log_line init_progress(const std::string& text) const { return {nullptr, 2, text}; }
};

TEST_F(auto_detect_test, init_fills_the_cache_and_logs_it_without_a_handle) {
  offer("1.0", first_uuid);
  publish();
  open(parameters("x"));
  const std::string database = std::string("modem/1.0/") + first_uuid + "/1.0.json";
  EXPECT_TRUE(fs::exists(in_cache(database)));
  EXPECT_THAT(session.logs,
              ElementsAre(init_progress("Trying to download database config.json"),
                          init_progress("write new config.json"),
                          init_progress("check database at path: " + in_cache(database)),
                          init_progress(std::string("try download database: ") + first_uuid)));
  EXPECT_EQ(decoder.call_count(), 0U) << "no decoder before the stream names its database";
}

TEST_F(auto_detect_test, a_full_cache_is_only_checked) {
  offer("1.0", first_uuid);
  publish();
  open(parameters("x"));
  session.release();
  session.logs.clear();
  auto without_update = parameters("x");
  without_update["auto_detect_db_config"].erase("update_cache");
  open(without_update);
  EXPECT_THAT(
      session.logs,
      ElementsAre(init_progress("check database at path: " +
                                in_cache(std::string("modem/1.0/") + first_uuid + "/1.0.json"))));
}

TEST_F(auto_detect_test, a_location_that_fails_is_a_recoverable_failure_without_a_handle) {
  offer("1.0", first_uuid);
  publish();
  auto all = parameters("x");
  all["auto_detect_db_config"]["trace_db_locations"] = {"${root}nowhere.json",
                                                        "${root}config.json"};
  open(all);
  ASSERT_GE(session.logs.size(), 3U);
  EXPECT_EQ(session.logs[0], init_progress("Trying to download database config.json"));
  EXPECT_EQ(session.logs[1].source, nullptr);
  EXPECT_EQ(session.logs[1].level, 5);
  EXPECT_THAT(session.logs[1].text, StartsWith("Failed to download config.json. Reason: "));
  EXPECT_EQ(session.logs[2], init_progress("Trying to download database config.json"));
}

TEST_F(auto_detect_test, no_location_that_answers_fails_init_and_names_them_as_they_were_given) {
  auto all = parameters("x");
  all["auto_detect_db_config"]["trace_db_locations"] = {"${root}a.json", "${ROOT}b.json"};
  EXPECT_EQ(init_failure(all),
            "Unable to download configuration content from any of the following locations:\n"
            "\t${root}a.json\n\t${ROOT}b.json");
}

TEST_F(auto_detect_test, a_database_that_cannot_be_had_fails_init) {
  offer("1.0", first_uuid);
  publish();
  fs::remove(origin.path() / "1.0.json");
  const std::string failure = init_failure(parameters("x"));
  EXPECT_THAT(failure, HasSubstr("1.0.json"));
  EXPECT_EQ(session.logs.back().text, std::string("try download database: ") + first_uuid);
}

TEST_F(auto_detect_test, a_cache_without_catalogue_fails_init) {
  auto all = parameters("x");
  all["auto_detect_db_config"]["update_cache"] = false;
  EXPECT_EQ(init_failure(all), "cannot open file: " + in_cache("config.json"));
}

TEST_F(auto_detect_test, environment_variables_are_expanded_in_every_text) {
  const test_support::environment_variable cache_value("VELTRA_TEST_CACHE", in_cache(""));
  const test_support::environment_variable location("VELTRA_TEST_LOCATION", "${root}config.json");
  const test_support::environment_variable proxy("VELTRA_TEST_PROXY", "localhost:9");
  const test_support::environment_variable root_value("VELTRA_TEST_ROOT",
                                                      detection()["root"].get<std::string>());
  offer("1.0", first_uuid);
  publish();
  auto all = parameters("x");
  all["auto_detect_db_config"] = {{"cache_directory", "${env:VELTRA_TEST_CACHE}"},
                                  {"update_cache", true},
                                  {"trace_db_locations", {"${env:VELTRA_TEST_LOCATION}"}},
                                  {"proxy_setting", "${env:VELTRA_TEST_PROXY}"},
                                  {"root", "${env:VELTRA_TEST_ROOT}"}};
  open(all);
  EXPECT_TRUE(fs::exists(in_cache("config.json")));
}

TEST_F(auto_detect_test, a_variable_that_is_not_set_fails_init) {
  const test_support::environment_variable unset("VELTRA_TEST_UNSET", std::nullopt);
  const std::string reference = "${env:VELTRA_TEST_UNSET}";
  const json texts = {{"cache_directory", reference},
                      {"trace_db_locations", {"${root}config.json", reference}},
                      {"proxy_setting", reference},
                      {"root", reference}};
  for (const auto& [key, value] : texts.items()) {
    auto all = parameters("x");
    all["auto_detect_db_config"][key] = value;
    EXPECT_EQ(init_failure(all), "failed to find env variable: VELTRA_TEST_UNSET") << key;
    EXPECT_FALSE(fs::exists(cache)) << key;
    session.errors.clear();
  }
}

// --- what is checked before ---------------------------------------------------------------

TEST_F(auto_detect_test, a_missing_trace_file_is_found_before_the_cache_is_touched) {
  auto all = parameters("x");
  all["file_path"] = "/nowhere/veltra.bin";
  EXPECT_EQ(init_failure(all), "trace file does not exist");
  EXPECT_FALSE(fs::exists(cache));
}

TEST_F(auto_detect_test, a_wrong_chunk_size_is_found_before_the_cache_is_touched) {
  auto all = parameters("x");
  all["chunk_size"] = "64";
  EXPECT_THAT(init_failure(all), HasSubstr("type must be number, but is string"));
  EXPECT_FALSE(fs::exists(cache));
}

TEST_F(auto_detect_test, the_cache_is_kept_before_a_missing_input_is_found) {
  offer("1.0", first_uuid);
  publish();
  EXPECT_EQ(init_failure({{"auto_detect_db_config", detection()}}),
            "veltra plugin missing trace file path or serialport");
  EXPECT_TRUE(fs::exists(in_cache("config.json")));
}

TEST_F(auto_detect_test, a_named_database_is_used_at_once_and_the_stream_not_searched) {
  offer("1.0", first_uuid);
  publish();
  auto all = parameters(test_support::uid_text(second_uuid) + "..");
  all["db_file_path"] = write_database(test_support::minimal_database());
  open(all);
  EXPECT_FALSE(fs::exists(cache));
  session.logs.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, IsEmpty());
}

// --- what init leaves to start --------------------------------------------------------------

TEST_F(auto_detect_test, without_a_single_version_the_stream_is_not_searched) {
  open_detecting(test_support::uid_text(first_uuid) + "..");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, IsEmpty());
  EXPECT_EQ(session.raw_bytes(), test_support::uid_text(first_uuid) + "..");
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(auto_detect_test, a_version_listed_twice_is_searched_twice) {
  offer("1.0", first_uuid);
  listed.push_back(listed.front());
  open_detecting(test_support::uid_text(second_uuid) + "..");
  EXPECT_EQ(session.start(), 100);
  const auto tried = progress("try to locate db directory " + in_cache("modem/1.0"));
  EXPECT_THAT(session.logs, testing::Contains(tried).Times(2));
}

TEST_F(auto_detect_test, without_a_log_everything_goes_its_way) {
  session.without_log = true;
  offer("1.0", first_uuid);
  const std::string trace = test_support::uid_text(first_uuid) + "..";
  open_detecting(trace);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.appended(), trace);
}

}  // namespace
