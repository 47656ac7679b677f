#include "host/source/source_events.h"

#include <gtest/gtest.h>
#include <kovax/source.h>

#include <string>
#include <utility>

namespace veltra::host {
namespace {

source_event progress(std::string_view message) {
  return parse_event(KOVAX_LOG_PROGRESS, message);
}

TEST(parse_event, a_message_without_argument_is_known_as_a_whole) {
  for (const auto& [message, kind] :
       {std::pair{"open port", event_kind::port_opening},
        {"uuid does not match regex, continue searching ", event_kind::uuid_rejected},
        {"Trying to download database config.json", event_kind::catalogue_requested},
        {"check if config.json is up-to-date", event_kind::catalogue_compared},
        {"write new config.json", event_kind::catalogue_written}}) {
    EXPECT_EQ(progress(message).kind, kind) << message;
    EXPECT_EQ(progress(message).detail, "") << message;
    const std::string longer = std::string(message) + "x";
    EXPECT_EQ(progress(longer).kind, event_kind::other) << longer;
  }
}

TEST(parse_event, the_detail_is_what_follows_the_known_text) {
  for (const auto& [start, kind] :
       {std::pair{"found UID: ", event_kind::uuid_found},
        {"try to locate db directory ", event_kind::directory_tried},
        {"db located at path: ", event_kind::database_located},
        {"Failed to download config.json. Reason: ", event_kind::catalogue_failed},
        {"check database at path: ", event_kind::database_checked},
        {"try download database: ", event_kind::database_requested},
        {"decoding stopped: ", event_kind::decoding_stopped},
        {"dekodrix statistics: ", event_kind::decoder_counted}}) {
    for (const std::string detail : {"", "a: b"}) {
      const std::string message = start + detail;
      EXPECT_EQ(progress(message).kind, kind) << message;
      EXPECT_EQ(progress(message).detail, detail) << message;
    }
  }
}

TEST(parse_event, bytes_are_counted_in_numbers) {
  const std::string start = "Cached data for locating database UID: ";
  const std::string message = start + "18446744073709551615";
  EXPECT_EQ(progress(message).kind, event_kind::bytes_searched);
  EXPECT_EQ(progress(message).bytes, UINT64_MAX);
  for (const std::string odd : {"", "x", "-1", "1 ", "18446744073709551616"}) {
    const std::string text = start + odd;
    const source_event event = progress(text);
    EXPECT_EQ(event.kind, event_kind::other) << text;
    EXPECT_EQ(event.bytes, 0U) << text;
    EXPECT_EQ(event.detail, text);
  }
}

TEST(parse_event, an_unknown_message_is_kept_whole) {
  for (const std::string message : {"", "something else", "not open port"}) {
    EXPECT_EQ(progress(message).kind, event_kind::other);
    EXPECT_EQ(progress(message).detail, message);
  }
}

TEST(parse_event, the_level_says_whether_something_failed) {
  EXPECT_FALSE(progress("decoding stopped: x").is_failure);
  EXPECT_TRUE(parse_event(KOVAX_LOG_RECOVERABLE_FAILURE, "decoding stopped: x").is_failure);
  EXPECT_TRUE(parse_event(KOVAX_LOG_RECOVERABLE_FAILURE, "x").is_failure);
}

TEST(classify_failure, each_text_of_the_plug_in_has_its_kind) {
  for (const auto& [message, kind] : {
           std::pair{"trace file does not exist", failure_kind::trace_missing},
           {"trace_file could not be opened at t", failure_kind::trace_unreadable},
           {"filesystem error: file_size: x [t]", failure_kind::trace_not_regular},
           {"filesystem error: exists: x [t]", failure_kind::path_unreachable},
           {"filesystem error: create_directories: x [c]", failure_kind::cache_unusable},
           {"filesystem error: directory iterator: x", failure_kind::file_system_error},
           {"database file does not exist", failure_kind::database_missing},
           {"veltra plugin cannot open trace file at d", failure_kind::database_unreadable},
           {"Database file extension needs to be .gz or .json", failure_kind::database_extension},
           {"Trace database has missing fields or is invalid", failure_kind::database_invalid},
           {"Invalid gzip data", failure_kind::database_not_gzip},
           {"dekodrix config not found", failure_kind::decoder_config_missing},
           {"dekodrix config failed to set", failure_kind::decoder_config_refused},
           {"[json.exception.type_error.302] type must be", failure_kind::json_type},
           {"[json.exception.parse_error.101] parse", failure_kind::json_error},
           {"trace_db_locations when update_cache is true", failure_kind::locations_missing},
           {"trace_db_locations is empty", failure_kind::locations_missing},
           {"root missing from auto_detect_db_config", failure_kind::root_missing},
           {"Unable to download configuration content", failure_kind::catalogue_unavailable},
           {"cannot open file: f", failure_kind::file_unreadable},
           {"unable to open file to write: f", failure_kind::file_unwritable},
           {"End of file reached while searching for the database UID", failure_kind::uuid_missing},
           {"unable to locate db directory", failure_kind::database_directory_missing},
           {"unable to locate db file", failure_kind::database_file_missing},
           {"error: ERR_SERIALPORT_OPEN message: x", failure_kind::port_not_opened},
           {"error: ERR_ASSIGN_SETTINGS message: x", failure_kind::port_settings_refused},
           {"error: ERR_QUERY_SETTINGS message: x", failure_kind::port_settings_unknown},
           {"port closed: x", failure_kind::port_lost},
           {"serialcommunication error", failure_kind::port_lost},
           {"stop extracting", failure_kind::stopped},
           {"stopped before the end: 1 received bytes and 2 decoded traces were not delivered",
            failure_kind::stopped_early},
       }) {
    EXPECT_EQ(classify_failure(message), kind) << message;
    EXPECT_EQ(classify_failure(std::string("x ") + message), failure_kind::other) << message;
  }
  EXPECT_EQ(classify_failure(""), failure_kind::other);
}

TEST(parse_undelivered, gives_both_counts) {
  EXPECT_EQ(
      parse_undelivered(
          "stopped before the end: 12 received bytes and 0 decoded traces were not delivered"),
      (undelivered_data{12, 0}));
  EXPECT_EQ(parse_undelivered("stop extracting"), std::nullopt);
}

TEST(parse_undelivered, a_message_cut_short_gives_nothing) {
  const std::string whole =
      "stopped before the end: 12 received bytes and 7 decoded traces were not delivered";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(parse_undelivered(whole.substr(0, size)), std::nullopt) << size;
  }
}

TEST(mentions_path, a_path_may_stand_anywhere_in_the_message) {
  EXPECT_TRUE(mentions_path("filesystem error: exists: x [/c/config.json]", "/c"));
  EXPECT_FALSE(mentions_path("filesystem error: exists: x [/d/t.bin]", "/c"));
}

}  // namespace
}  // namespace veltra::host
