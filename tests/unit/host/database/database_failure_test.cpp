#include "host/database/database_failure.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "implementation/json.h"
#include "plugin/database/cache_settings_error.h"
#include "plugin/database/file_io.h"
#include "tests/support/paths.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using test_support::native;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* none = "no explanation";

source_event event(event_kind kind, std::string_view detail = {}) {
  return {.kind = kind, .is_failure = false, .bytes = 0, .detail = detail};
}

const source_event new_pass = event(event_kind::bytes_searched);
const source_event rejection = event(event_kind::uuid_rejected);

source_event found(std::string_view text) {
  return event(event_kind::uuid_found, text);
}

source_event tried(std::string_view directory) {
  return event(event_kind::directory_tried, directory);
}

source_event failed(std::string_view reason) {
  return event(event_kind::catalogue_failed, reason);
}

source_event checked(std::string_view file) {
  return event(event_kind::database_checked, file);
}

class database_failure_test : public testing::Test {
 protected:
  database_failure_test() { options.cache = cache.path().string(); }

  void take(std::initializer_list<source_event> list) {
    for (const source_event& each : list) events.take(each);
  }

  // The location of the cache's catalogue.
  std::string catalogue() const { return options.cache + native("/config.json"); }

  std::string text_of(const std::optional<user_error>& error) {
    if (!error) return none;
    code = error->code();
    return error->what();
  }

  std::string sync_failure(failure_kind kind, const std::string& message = "REASON") {
    return text_of(explain_sync_failure(kind, message, options, events));
  }

  std::string search_failure(failure_kind kind, const std::string& message = "REASON") {
    return text_of(explain_search_failure(kind, message, "t.bin", options, events));
  }

  std::string sync_command(const std::string& location = "URL") const {
    return "veltra db sync --cache " + options.cache + " --update --location " + location;
  }

  test_support::temp_directory cache;
  database_options options;
  database_events events;
  exit_code code = exit_code::ok;
};

// --- what the events report ----------------------------------------------------------------------

TEST_F(database_failure_test, nothing_is_known_at_first) {
  EXPECT_EQ(events.uuid(), "");
  EXPECT_EQ(events.rejected(), 0U);
  EXPECT_EQ(events.file(), "");
  EXPECT_EQ(events.downloading(), "");
}

TEST_F(database_failure_test, the_reasons_of_failed_locations_keep_their_order) {
  take({failed("first"), failed("")});
  EXPECT_THAT(events.failed_locations(),
              ElementsAre("first", "that is not an address to fetch from"));
}

TEST_F(database_failure_test, a_download_is_under_way_until_the_next_database_is_checked) {
  take({checked("a"), event(event_kind::database_requested, "uuid-a")});
  EXPECT_EQ(events.file(), "a");
  EXPECT_EQ(events.downloading(), "uuid-a");
  take({checked("b")});
  EXPECT_EQ(events.file(), "b");
  EXPECT_EQ(events.downloading(), "");
}

TEST_F(database_failure_test, the_last_candidate_that_is_not_rejected_is_the_uuid) {
  take({new_pass, found("no"), rejection, found("yes")});
  EXPECT_EQ(events.uuid(), "yes");
  EXPECT_EQ(events.rejected(), 1U);
}

TEST_F(database_failure_test, each_candidate_is_new_once_although_every_pass_reports_all_again) {
  const auto reject = [&](std::string_view text) {
    take({found(text), rejection});
    return events.rejected_is_new();
  };
  take({new_pass});
  EXPECT_TRUE(reject("first"));
  EXPECT_EQ(events.rejected_text(), "first");
  take({new_pass});
  EXPECT_FALSE(reject("first"));
  EXPECT_TRUE(reject("first")) << "the same text in another place";
  take({new_pass});
  EXPECT_FALSE(reject("first"));
  EXPECT_FALSE(reject("first"));
  EXPECT_EQ(events.rejected(), 2U);
  EXPECT_EQ(events.uuid(), "");
}

TEST_F(database_failure_test, the_searched_directories_and_the_one_found_are_kept) {
  take({tried("/c/a"), tried("/c/b"), event(event_kind::database_located, "/c/b/uuid")});
  EXPECT_THAT(events.directories(), ElementsAre("/c/a", "/c/b"));
  EXPECT_EQ(events.located(), "/c/b/uuid");
}

// --- the synchronisation of the cache ------------------------------------------------------------

TEST_F(database_failure_test, a_cache_without_catalogue) {
  EXPECT_EQ(sync_failure(failure_kind::file_unreadable),
            "the cache " + options.cache +
                " has no catalogue yet (REASON); fetch it with: " + sync_command());
  EXPECT_EQ(code, exit_code::bad_input);
}

TEST_F(database_failure_test, a_catalogue_without_read_permission_is_not_reported_as_missing) {
  cache.write("config.json", "{}");
  EXPECT_THAT(sync_failure(failure_kind::file_unreadable),
              AllOf(HasSubstr("read permission"), Not(HasSubstr("db sync"))));
}

TEST_F(database_failure_test, a_cache_that_is_not_a_directory) {
  options.cache = cache.write("file", "").string();
  EXPECT_EQ(sync_failure(failure_kind::file_unreadable),
            "the cache " + options.cache +
                " is not a directory (REASON); name the directory of the databases.");
}

TEST_F(database_failure_test, a_database_that_cannot_be_read) {
  take({checked("c/fw.json")});
  EXPECT_EQ(sync_failure(failure_kind::file_unreadable),
            "REASON; it must be a file with read permission.");
}

TEST_F(database_failure_test, an_update_without_location_is_a_wrong_command_line) {
  EXPECT_EQ(sync_failure(failure_kind::locations_missing),
            "REASON; say with --location where the catalogue is.");
  EXPECT_EQ(code, exit_code::usage);
}

TEST_F(database_failure_test, a_missing_root_names_the_path_that_needs_it) {
  EXPECT_EQ(sync_failure(failure_kind::root_missing),
            "a location of the catalogue begins with ${root} and there is no root (REASON); give "
            "one with --root.");
  EXPECT_EQ(code, exit_code::usage);
  take({checked("c/fw.json")});
  EXPECT_THAT(sync_failure(failure_kind::root_missing),
              StartsWith("the catalogue's path of c/fw.json begins with ${root}"));
}

TEST_F(database_failure_test, a_catalogue_without_a_database) {
  EXPECT_EQ(text_of(explain_empty_cache(options, events)),
            "the catalogue of the cache " + options.cache +
                " lists no database; fetch one that does with: " + sync_command());
  EXPECT_EQ(code, exit_code::bad_input);
  take({checked("c/fw.json")});
  EXPECT_EQ(text_of(explain_empty_cache(options, events)), none);
  EXPECT_EQ(text_of(explain_empty_cache({}, {})), none) << "another database is named";
}

TEST_F(database_failure_test, no_location_gives_a_catalogue) {
  options.locations = {"http://a", "http://b", "http://c"};
  take({failed("refused")});
  EXPECT_EQ(sync_failure(failure_kind::catalogue_unavailable),
            "no location gave a catalogue: http://a (refused), http://b (it is empty there); check "
            "the addresses and the network.")
      << "the third was never tried, and there is no catalogue in the cache";
  cache.write("config.json", "{}");
  EXPECT_THAT(sync_failure(failure_kind::catalogue_unavailable),
              EndsWith("or leave --update out to use the catalogue that the cache " +
                       options.cache + " has."));
}

TEST_F(database_failure_test, a_file_that_cannot_be_written) {
  take({checked(options.cache + "/fw.json")});
  EXPECT_THAT(sync_failure(failure_kind::file_unwritable),
              HasSubstr("needs room and write permission"));
  EXPECT_EQ(code, exit_code::output_failed);
}

TEST_F(database_failure_test, a_file_in_a_directory_that_is_not_created) {
  take({checked(options.cache + "/dbs/fw.json")});
  EXPECT_THAT(sync_failure(failure_kind::file_unwritable),
              HasSubstr("a database's path in the catalogue must be ${root} with a file name"));
  EXPECT_EQ(code, exit_code::bad_input);
}

TEST_F(database_failure_test, a_cache_that_cannot_be_created_or_reached) {
  const std::string expected =
      "the cache " + options.cache + " cannot be used (" + "no way [" + options.cache + "]);";
  for (const auto kind : {failure_kind::cache_unusable, failure_kind::path_unreachable}) {
    EXPECT_THAT(sync_failure(kind, "no way [" + options.cache + "]"), StartsWith(expected));
  }
  EXPECT_EQ(sync_failure(failure_kind::path_unreachable, "no way [/elsewhere/t.bin]"), none)
      << "the trace's directory is not the cache's";
}

// A server's error page becomes the first catalogue of a cache.
TEST_F(database_failure_test, a_catalogue_that_is_not_json_is_to_be_removed) {
  cache.write("config.json", "<html>404</html>");
  EXPECT_EQ(
      sync_failure(failure_kind::json_error),
      catalogue() +
          " is not a catalogue (REASON); it may be a server's error page. Remove it and fetch "
          "the catalogue from the right address with: " +
          sync_command());
}

TEST_F(database_failure_test, a_catalogue_of_another_form_is_named) {
  cache.write("config.json", "{}");
  for (const auto kind : {failure_kind::json_error, failure_kind::json_type}) {
    EXPECT_EQ(sync_failure(kind),
              "a catalogue is not valid (REASON); look at " + catalogue() +
                  ", remove it if it is damaged, and fetch it again with: " + sync_command());
  }
}

TEST_F(database_failure_test, a_failed_download_names_the_database) {
  take({checked("c/fw.json"), event(event_kind::database_requested, "uuid-1")});
  EXPECT_THAT(sync_failure(failure_kind::other, "Could not resolve host"),
              AllOf(StartsWith("the database uuid-1 could not be downloaded (Could not resolve "
                               "host); check its path in " +
                               catalogue()),
                    HasSubstr("with --database FILE")));
}

TEST_F(database_failure_test, exceptions_of_the_synchronisation_are_explained_by_their_types) {
  const auto text = [&](const std::exception& failure) {
    return text_of(explain_sync_failure(failure, options, events));
  };
  using fault = cache_settings_fault;
  for (const auto& [each, kind] :
       {std::pair{fault::locations_missing, failure_kind::locations_missing},
        {fault::locations_empty, failure_kind::locations_missing},
        {fault::no_location_answered, failure_kind::catalogue_unavailable},
        {fault::root_missing, failure_kind::root_missing},
        {fault::cache_directory_missing, failure_kind::other}}) {
    EXPECT_EQ(text(cache_settings_error(each, "REASON")), sync_failure(kind));
  }
  const std::error_code denied = std::make_error_code(std::errc::permission_denied);
  const file_error unreadable(file_access::read, "f", denied);
  EXPECT_EQ(text(unreadable), sync_failure(failure_kind::file_unreadable, unreadable.what()));
  const file_error unwritable(file_access::write, "f", denied);
  EXPECT_EQ(text(unwritable), sync_failure(failure_kind::file_unwritable, unwritable.what()));
  const std::filesystem::filesystem_error unusable("exists", "c", denied);
  EXPECT_EQ(text(unusable), sync_failure(failure_kind::cache_unusable, unusable.what()));
  const auto type_error = kovax::json::type_error::create(302, "text", nullptr);
  EXPECT_EQ(text(type_error), sync_failure(failure_kind::json_error, type_error.what()));
  EXPECT_EQ(text(std::runtime_error("REASON")), none);
}

TEST_F(database_failure_test, failures_that_do_not_concern_databases_are_not_explained) {
  EXPECT_EQ(sync_failure(failure_kind::trace_missing), none);
  EXPECT_EQ(search_failure(failure_kind::port_lost), none);
  EXPECT_EQ(search_failure(failure_kind::database_not_gzip), none) << "no database was found";
  EXPECT_EQ(search_failure(failure_kind::file_system_error), none) << "no UUID was found";
}

// --- the search in the stream --------------------------------------------------------------------

TEST_F(database_failure_test, a_stream_without_a_uuid) {
  EXPECT_EQ(search_failure(failure_kind::uuid_missing),
            "t.bin does not say which database it needs: no UUID in it up to its end; record the "
            "trace from the modem's start, or name the database with --database.");
  EXPECT_EQ(code, exit_code::bad_input);
  take({found("x"), rejection});
  EXPECT_THAT(search_failure(failure_kind::uuid_missing),
              HasSubstr("up to its end, 1 text in its place is not one;"));
  take({found("y"), rejection});
  EXPECT_THAT(search_failure(failure_kind::uuid_missing),
              HasSubstr("up to its end, 2 texts in its place are not one;"));
}

TEST_F(database_failure_test, a_uuid_that_is_not_in_the_cache) {
  options.locations = {"http://a"};
  take({found("u-1"), tried("/c/1"), tried("/c/2")});
  EXPECT_EQ(search_failure(failure_kind::database_directory_missing),
            "t.bin needs the database u-1, which is not in the cache " + options.cache +
                " (looked in /c/1, /c/2); fetch it with: " + sync_command("http://a"));
}

TEST_F(database_failure_test, of_many_directories_the_first_are_named) {
  take({found("u-1")});
  EXPECT_THAT(search_failure(failure_kind::database_directory_missing),
              HasSubstr("(looked in no directory)"));
  for (const char* directory : {"/c/1", "/c/2", "/c/3", "/c/4", "/c/5", "/c/6"}) {
    take({tried(directory)});
  }
  EXPECT_THAT(search_failure(failure_kind::database_directory_missing),
              HasSubstr("(looked in /c/1, /c/2, /c/3, /c/4 and 2 more)"));
}

TEST_F(database_failure_test, a_directory_without_a_database_file) {
  take({found("u-1"), event(event_kind::database_located, "/c/1/u-1")});
  EXPECT_EQ(search_failure(failure_kind::database_file_missing),
            "t.bin needs the database u-1, and /c/1/u-1 contains no .json or .gz file; fetch it "
            "with: " +
                sync_command());
}

TEST_F(database_failure_test, a_directory_that_cannot_be_searched) {
  take({found("u-1"), tried("/c/1")});
  EXPECT_THAT(
      search_failure(failure_kind::file_system_error),
      AllOf(HasSubstr("u-1"), HasSubstr("cannot be searched (REASON)"), HasSubstr(sync_command())));
}

TEST_F(database_failure_test, a_database_that_cannot_be_used) {
  take({found("u-1"), event(event_kind::database_located, "/c/1/u-1")});
  for (const auto kind : {failure_kind::database_unreadable, failure_kind::database_invalid,
                          failure_kind::database_not_gzip, failure_kind::decoder_config_missing,
                          failure_kind::decoder_config_refused}) {
    EXPECT_EQ(search_failure(kind),
              "the database u-1 in /c/1/u-1 cannot be used (REASON); check the cache with: veltra "
              "db verify --cache " +
                  options.cache);
  }
}

// --- non-fatal failures --------------------------------------------------------------------------

TEST_F(database_failure_test, a_failed_location_is_reported_when_there_is_another) {
  options.locations = {"http://a", "http://b"};
  const source_event failure = failed("refused");
  take({failure});
  EXPECT_EQ(
      describe_nonfatal_failure(failure, options, events),
      "the catalogue could not be fetched from http://a (refused); trying the next location.");
  take({failure});
  EXPECT_EQ(describe_nonfatal_failure(failure, options, events), "")
      << "the failure that ends the work reports it";
}

TEST_F(database_failure_test, a_rejected_text_is_reported_once_in_printable_characters) {
  for (const bool is_new : {true, false}) {
    take({new_pass, found("\x1b[2J caf\xc3\xa9"), rejection});
    EXPECT_EQ(describe_nonfatal_failure(rejection, options, events),
              is_new ? "\"?[2J caf??\", where the trace names its database, is not a UUID; still "
                       "searching."
                     : "");
  }
}

TEST_F(database_failure_test, a_decoding_that_stops_says_that_the_recording_goes_on) {
  EXPECT_EQ(describe_nonfatal_failure(event(event_kind::decoding_stopped, "why"), options, events),
            "decoding stopped (why); the raw trace is still recorded.");
}

TEST_F(database_failure_test, any_other_nonfatal_failure_keeps_its_words) {
  EXPECT_EQ(describe_nonfatal_failure(event(event_kind::other, "the text"), options, events),
            "the text");
}

}  // namespace
}  // namespace veltra::host
