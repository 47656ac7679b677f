#include "host/database/database_failure.h"

#include <gmock/gmock.h>

#include "tests/support/paths.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using test_support::native;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* none = "no explanation";

class database_failure_test : public testing::Test {
 protected:
  database_failure_test() { options.cache = cache.path().string(); }

  void heard(std::initializer_list<std::string> messages) {
    for (const std::string& message : messages) log.take(message);
  }

  std::string text_of(const std::optional<user_error>& error) {
    if (!error) return none;
    code = error->code();
    return error->what();
  }

  std::string sync_failure(const std::string& message) {
    return text_of(explain_sync_failure(message, options, log));
  }

  std::string search_failure(const std::string& message) {
    return text_of(explain_search_failure(message, "t.bin", options, log));
  }

  std::string sync_command() const {
    return "veltra db sync --cache " + options.cache + " --update";
  }

  test_support::temp_directory cache;
  database_options options;
  database_log log;
  exit_code code = exit_code::ok;
};

// --- keeping the cache ------------------------------------------------------------------------

TEST_F(database_failure_test, a_cache_without_catalogue) {
  const std::string message = "cannot open file: " + options.cache + native("/config.json");
  EXPECT_EQ(sync_failure(message), "the cache " + options.cache + " has no catalogue yet (" +
                                       message + "); fetch it with: " + sync_command() +
                                       " --location URL");
  EXPECT_EQ(code, exit_code::bad_input);
}

TEST_F(database_failure_test, a_catalogue_that_may_not_be_read_is_not_told_to_be_missing) {
  cache.write("config.json", "{}");
  EXPECT_THAT(sync_failure("cannot open file: " + options.cache + native("/config.json")),
              AllOf(HasSubstr("read permission"), testing::Not(HasSubstr("db sync"))));
}

TEST_F(database_failure_test, a_database_that_cannot_be_read) {
  heard({"check database at path: c/fw.json"});
  EXPECT_EQ(sync_failure("cannot open file: c/fw.json"),
            "cannot open file: c/fw.json; it must be a file with read permission.");
}

TEST_F(database_failure_test, an_update_without_location_is_a_wrong_command_line) {
  EXPECT_THAT(sync_failure("trace_db_locations is empty"), HasSubstr("--location"));
  EXPECT_EQ(code, exit_code::usage);
}

TEST_F(database_failure_test, a_missing_root_names_whose_path_needs_it) {
  EXPECT_THAT(sync_failure("root missing from auto_detect_db_config"),
              AllOf(StartsWith("a location of the catalogue begins with ${root}"),
                    EndsWith("give one with --root.")));
  EXPECT_EQ(code, exit_code::usage);
  heard({"check database at path: c/fw.json"});
  EXPECT_THAT(sync_failure("root missing from auto_detect_db_config"),
              StartsWith("the catalogue's path of c/fw.json begins with ${root}"));
}

TEST_F(database_failure_test, a_catalogue_without_a_database) {
  EXPECT_EQ(text_of(explain_empty_cache(options, log)),
            "the catalogue of the cache " + options.cache +
                " lists no database; fetch one that does with: " + sync_command() +
                " --location URL");
  EXPECT_EQ(code, exit_code::bad_input);
  heard({"check database at path: c/fw.json"});
  EXPECT_EQ(text_of(explain_empty_cache(options, log)), none);
  EXPECT_EQ(text_of(explain_empty_cache({}, {})), none) << "another database is named";
}

TEST_F(database_failure_test, no_location_gives_a_catalogue) {
  options.locations = {"http://a", "http://b", "http://c"};
  heard({"Failed to download config.json. Reason: refused"});
  EXPECT_THAT(sync_failure("Unable to download configuration content from any of the following "
                           "locations:\n\thttp://a"),
              AllOf(StartsWith("no location gave a catalogue: http://a (refused), http://b (it is "
                               "empty there); check"),
                    EndsWith("the network.")))
      << "the third was never tried, and there is no catalogue in the cache";
  cache.write("config.json", "{}");
  EXPECT_THAT(sync_failure("Unable to download configuration content"),
              EndsWith("or leave --update out to use the catalogue that the cache " +
                       options.cache + " has."));
}

TEST_F(database_failure_test, a_file_that_cannot_be_written) {
  heard({"check database at path: " + options.cache + "/fw.json"});
  EXPECT_THAT(sync_failure("unable to open file to write: " + options.cache + "/fw.json"),
              HasSubstr("needs room and write permission"));
  EXPECT_EQ(code, exit_code::output_failed);
}

TEST_F(database_failure_test, a_file_in_a_directory_that_nobody_makes) {
  heard({"check database at path: " + options.cache + "/dbs/fw.json"});
  EXPECT_THAT(sync_failure("unable to open file to write: " + options.cache + "/dbs/fw.json"),
              HasSubstr("a database's path in the catalogue must be ${root} with a file name"));
  EXPECT_EQ(code, exit_code::bad_input);
}

TEST_F(database_failure_test, a_cache_that_cannot_be_made) {
  EXPECT_THAT(sync_failure("filesystem error: create_directories: Permission denied [" +
                           options.cache + "]"),
              AllOf(StartsWith("the cache " + options.cache + " cannot be used ("),
                    HasSubstr("Permission denied")));
}

TEST_F(database_failure_test, a_trace_whose_directory_may_not_be_read_is_not_the_caches_fault) {
  EXPECT_EQ(sync_failure("filesystem error: exists: Permission denied [/elsewhere/t.bin]"), none);
}

// A server's page for what it does not have becomes the first catalogue of a cache.
TEST_F(database_failure_test, a_cache_whose_catalogue_is_no_json_says_what_to_remove) {
  cache.write("config.json", "<html>404</html>");
  EXPECT_THAT(sync_failure("[json.exception.parse_error.101] x"),
              AllOf(StartsWith(options.cache + native("/config.json") + " holds no catalogue"),
                    HasSubstr("Remove it"), HasSubstr(sync_command())));
  cache.write("config.json", "{}");
  EXPECT_THAT(sync_failure("[json.exception.parse_error.101] x"),
              StartsWith("a catalogue is not what it should be"));
}

TEST_F(database_failure_test, a_catalogue_that_is_none) {
  EXPECT_THAT(sync_failure("[json.exception.parse_error.101] x"),
              AllOf(HasSubstr("[json.exception.parse_error.101] x"),
                    HasSubstr(options.cache + native("/config.json")), HasSubstr(sync_command())));
}

TEST_F(database_failure_test, a_download_that_failed_names_the_database) {
  heard({"check database at path: c/fw.json", "try download database: uuid-1"});
  EXPECT_THAT(sync_failure("Could not resolve host"),
              StartsWith("the database uuid-1 could not be downloaded (Could not resolve host);"));
  EXPECT_THAT(sync_failure("Could not resolve host"), HasSubstr("with --database FILE"));
}

TEST_F(database_failure_test, other_failures_are_not_the_caches) {
  EXPECT_EQ(sync_failure("trace file does not exist"), none);
  EXPECT_EQ(search_failure("serialcommunication error"), none);
  EXPECT_EQ(search_failure("Invalid gzip data"), none) << "no database was found";
}

// --- the search in the stream --------------------------------------------------------------------

TEST_F(database_failure_test, a_stream_without_a_uuid) {
  const char* const message = "End of file reached while searching for the database UID";
  EXPECT_EQ(search_failure(message),
            "t.bin does not say which database it needs: no UUID in it up to its end; record the "
            "trace from the modem's start, or name the database with --database.");
  heard({"found UID: x", "uuid does not match regex, continue searching "});
  EXPECT_THAT(search_failure(message), HasSubstr("up to its end, 1 text in its place is none;"));
  EXPECT_EQ(code, exit_code::bad_input);
}

TEST_F(database_failure_test, a_uuid_that_is_not_in_the_cache) {
  options.locations = {"http://a"};
  heard({"found UID: u-1", "try to locate db directory /c/1", "try to locate db directory /c/2"});
  EXPECT_EQ(search_failure("unable to locate db directory"),
            "t.bin needs the database u-1, which is not in the cache " + options.cache +
                " (looked in /c/1, /c/2); fetch it with: " + sync_command() +
                " --location http://a");
}

TEST_F(database_failure_test, of_many_directories_the_first_are_named) {
  heard({"found UID: u-1"});
  for (const char* version : {"1", "2", "3", "4", "5", "6"}) {
    heard({std::string("try to locate db directory /c/") + version});
  }
  EXPECT_THAT(search_failure("unable to locate db directory"),
              HasSubstr("(looked in /c/1, /c/2, /c/3, /c/4 and 2 more)"));
}

TEST_F(database_failure_test, a_directory_without_a_database_file) {
  heard({"found UID: u-1", "db located at path: /c/1/u-1"});
  EXPECT_THAT(search_failure("unable to locate db file"),
              AllOf(HasSubstr("/c/1/u-1 holds no .json or .gz file"), HasSubstr(sync_command())));
}

TEST_F(database_failure_test, a_directory_that_cannot_be_searched) {
  heard({"found UID: u-1", "try to locate db directory /c/1"});
  EXPECT_THAT(search_failure("filesystem error: directory iterator cannot open directory: x"),
              AllOf(HasSubstr("u-1"), HasSubstr("cannot be searched"), HasSubstr(sync_command())));
}

TEST_F(database_failure_test, a_database_that_cannot_be_used) {
  heard({"found UID: u-1", "db located at path: /c/1/u-1"});
  EXPECT_EQ(
      search_failure("Invalid gzip data"),
      "the database u-1 in /c/1/u-1 cannot be used (Invalid gzip data); check the cache with: "
      "veltra db verify --cache " +
          options.cache);
}

// --- what is passed over ----------------------------------------------------------------------

TEST_F(database_failure_test, a_location_that_gives_no_catalogue_is_told_when_there_is_another) {
  options.locations = {"http://a", "http://b"};
  const std::string message = "Failed to download config.json. Reason: refused";
  heard({message});
  EXPECT_EQ(
      describe_passed_over(message, options, log),
      "the catalogue could not be fetched from http://a (refused); trying the next location.");
  heard({message});
  EXPECT_EQ(describe_passed_over(message, options, log), "") << "the end of the run tells it";
}

TEST_F(database_failure_test, a_text_that_is_no_uuid_is_told_once_and_can_be_shown) {
  const std::string message = "uuid does not match regex, continue searching ";
  for (const bool is_new : {true, false}) {
    heard(
        {"Cached data for locating database UID: 100", "found UID: \x1b[2J caf\xc3\xa9", message});
    EXPECT_EQ(describe_passed_over(message, options, log),
              is_new ? "\"?[2J caf??\" stands where the trace names its database and is no UUID; "
                       "searching on."
                     : "");
  }
}

TEST_F(database_failure_test, what_is_not_about_databases_is_told_in_its_own_words) {
  EXPECT_EQ(describe_passed_over("the sun shines", options, log), "the sun shines");
}

}  // namespace
}  // namespace veltra::host
