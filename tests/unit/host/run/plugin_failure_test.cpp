#include "host/run/plugin_failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

database_options named(const char* file) {
  database_options options;
  options.file = file;
  return options;
}

database_options kept_in(const char* cache) {
  database_options options;
  options.cache = cache;
  return options;
}

TEST(init_failure, each_known_refusal_becomes_a_sentence_with_the_next_step) {
  const struct {
    std::string message;  // the plug-in's
    std::string sentence;
  } cases[] = {
      {"trace file does not exist", "t.bin: trace file does not exist; check the name."},
      {"trace_file could not be opened",
       "t.bin cannot be read (trace_file could not be opened); check its permissions."},
      {"filesystem error: file_size: Is a directory [t.bin]",
       "t.bin is not a regular file (filesystem error: file_size: Is a directory [t.bin]); give "
       "the trace's own file."},
      {"filesystem error: exists: Permission denied [d/t.bin]",
       "a named file cannot be reached (filesystem error: exists: Permission denied [d/t.bin]); "
       "check its name and the permissions of the folders above it."},
      {"database file does not exist", "d.json: database file does not exist; check the name."},
      {"veltra plugin cannot open trace file",
       "the database d.json cannot be read (veltra plugin cannot open trace file); check that it "
       "is a file and its permissions."},
      {"Database file extension not supported",
       "d.json: Database file extension not supported; give a trace database under such a name."},
      {"Trace database has missing fields or is invalid",
       "d.json: Trace database has missing fields or is invalid; give the trace database of the "
       "modem's firmware."},
      {"Invalid gzip data",
       "d.json: Invalid gzip data; give a database as .json or as a gzip compressed tar archive."},
      {"dekodrix config not found",
       "d.json contains no decoder configuration (dekodrix config not found); an archive must "
       "begin with its database files, in the ustar format and without a folder."},
      {"dekodrix config failed to set",
       "the decoder does not take the configuration in d.json (dekodrix config failed to set); the "
       "database belongs to another decoding library."},
      {"{}%s {0}", "the plug-in does not start: {}%s {0}; check the parameters."},
  };
  for (const auto& [message, sentence] : cases) {
    const user_error error = explain_init_failure({1, message}, "t.bin", named("d.json"));
    EXPECT_EQ(error.code(), exit_code::bad_input);
    EXPECT_EQ(error.what(), sentence);
  }
}

TEST(init_failure, names_with_braces_are_names) {
  EXPECT_STREQ(
      explain_init_failure({1, "trace file does not exist"}, "{1}{.bin", named("d.json")).what(),
      "{1}{.bin: trace file does not exist; check the name.");
}

TEST(run_failure, says_what_became_of_the_packets) {
  const source_failure failure{22, "the end"};
  const user_error lost = explain_run_failure(failure, "t.bin", named("d.json"), false);
  EXPECT_EQ(lost.code(), exit_code::run_failed);
  EXPECT_STREQ(lost.what(), "reading t.bin failed: the end (code 22); no capture was written.");
  EXPECT_STREQ(explain_run_failure(failure, "t.bin", named("d.json"), true).what(),
               "reading t.bin failed: the end (code 22); what came before is in the capture.");
}

TEST(run_failure, a_definition_of_a_wrong_type_is_the_databases_fault) {
  const source_failure failure{
      100, "[json.exception.type_error.302] type must be number, but is string"};
  EXPECT_STREQ(explain_run_failure(failure, "t.bin", named("d.json"), false).what(),
               "the trace database d.json has a definition of a wrong type "
               "([json.exception.type_error.302] type must be number, but is string); give the "
               "trace database of the modem's firmware as its makers built it; no capture was "
               "written.");
  EXPECT_THAT(explain_run_failure(failure, "t.bin", kept_in("cache"), true).what(),
              AllOf(HasSubstr("the trace database that was found in cache has"),
                    HasSubstr("what came before is in the capture.")));
}

// The statistics of a run that read `raw`, with a database of the UUID u-1.
run_statistics statistics_of(std::string_view raw, std::string_view at = {}) {
  run_statistics statistics;
  const auto add = [&](std::string_view layer, std::string_view payload) {
    statistics.add(
        {.layer = layer,
         .category = {},
         .metadata = R"({"modem_db_uuid":"u-1"})",
         .payload = {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()}});
  };
  add("modem_trace", raw);
  if (!at.empty()) add("at", at);
  return statistics;
}

TEST(nothing_decoded, names_trace_database_and_uuid) {
  const user_error error =
      explain_nothing_decoded("t.bin", named("d.json"), statistics_of("12345"));
  EXPECT_EQ(error.code(), exit_code::nothing_decoded);
  EXPECT_STREQ(error.what(),
               "not one packet came out of t.bin with the database d.json (UUID u-1); check that "
               "it is the modem's raw trace and that the database belongs to its firmware.");
  EXPECT_THAT(explain_nothing_decoded("t.bin", kept_in("cache"), statistics_of("12345")).what(),
              HasSubstr("the database cache (UUID u-1)"));
}

TEST(nothing_decoded, reports_of_losses_alone_are_nothing_but_are_counted) {
  for (const auto& [count, reported] :
       {std::pair{"1", "1 dropped trace "}, {"12", "12 dropped traces "}}) {
    const auto statistics = statistics_of("12345", std::string("Dropped traces count: ") + count);
    const user_error error = explain_nothing_decoded("t.bin", named("d.json"), statistics);
    EXPECT_EQ(error.code(), exit_code::nothing_decoded);
    EXPECT_THAT(error.what(), StartsWith(std::string("only reports of ") + reported +
                                         "came out of t.bin with the database d.json"));
  }
}

TEST(nothing_decoded, an_empty_trace_is_called_empty) {
  const user_error error = explain_nothing_decoded("t.bin", named("d.json"), {});
  EXPECT_EQ(error.code(), exit_code::nothing_decoded);
  EXPECT_STREQ(error.what(), "t.bin is empty; record the trace again.");
}

}  // namespace
}  // namespace veltra::host
