// A run that first finds the database which the stream asks for.
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/abi/auto_detect_fixture.h"

namespace {

namespace fs = std::filesystem;
using kovax::json;
using test_support::build_trace;
using test_support::database_master;
using test_support::first_uuid;
using test_support::received_packet;
using test_support::reported_error;
using test_support::second_uuid;
using test_support::uid_text;
using test_support::varied_bytes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* end_of_file = "End of file reached while searching for the database UID";

class uid_scan_test : public test_support::auto_detect_fixture {
 protected:
  // "modem/1.0" with first_uuid and "modem/2.0" with second_uuid.
  void offer_two() {
    offer("1.0", first_uuid);
    offer("2.0", second_uuid);
  }

  std::string version(const std::string& name) const { return in_cache("modem/" + name); }
  std::string of_uuid(const std::string& name, const std::string& uuid) const {
    return in_cache("modem/" + name + "/" + uuid);
  }

  void expect_failure(const std::string& message, std::int32_t code = 100) {
    EXPECT_EQ(session.start(), code);
    EXPECT_EQ(session.last_error(), (reported_error{message, code}));
  }
};

// --- a database is found ------------------------------------------------------------------

TEST_F(uid_scan_test, every_step_is_logged_with_the_instance) {
  offer_two();
  open_detecting("ab" + uid_text(second_uuid) + "..", 16);
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs,
              ElementsAre(progress("dekodrix not set start waiting for db uuid"),
                          progress("start locating db UID from trace data"),
                          progress("Cached data for locating database UID: 16"),
                          progress("Cached data for locating database UID: 32"),
                          progress("Cached data for locating database UID: 47"),
                          progress(std::string("found UID: ") + second_uuid),
                          progress("try to locate db directory " + version("1.0")),
                          progress("try to locate db directory " + version("2.0")),
                          progress("db located at path: " + of_uuid("2.0", second_uuid)),
                          test_support::log_line{nullptr, 2, "processed config json: MCU"}));
}

TEST_F(uid_scan_test, what_was_searched_is_one_raw_packet_that_names_the_database) {
  offer_two();
  const std::string trace = varied_bytes(100) + uid_text(first_uuid) + varied_bytes(100);
  open_detecting(trace, 50);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), trace);
  const auto packets = session.packets;
  ASSERT_THAT(packets, SizeIs(3));
  EXPECT_EQ(packets[0].data, trace.substr(0, 150));
  EXPECT_EQ(packets[0].sequence_number, 1U);
  EXPECT_EQ(packets[1].data, trace.substr(150, 50));
  const json metadata = json::parse(packets[0].metadata);
  EXPECT_EQ(metadata,
            (json{{"data_offset", 150},
                  {"data_size", trace.size()},
                  {"modem_db_path", in_cache(std::string("modem/1.0/") + first_uuid + "/1.0.json")},
                  {"modem_db_uuid", first_uuid}}));
}

TEST_F(uid_scan_test, the_decoder_gets_what_was_searched_in_one_append_and_one_parse) {
  offer_two();
  const std::string trace = varied_bytes(100) + uid_text(first_uuid) + varied_bytes(10);
  open_detecting(trace, 16);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.appended(), trace);
  const auto sequence = decoder.sequence();
  ASSERT_GE(sequence.size(), 7U);
  EXPECT_THAT(std::vector(sequence.begin(), sequence.begin() + 7),
              ElementsAre(scripted_new, scripted_set_timebase, scripted_reset,
                          scripted_set_configuration_json, scripted_append_buffer, scripted_parse,
                          scripted_get_trace));
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).front().bytes, trace.substr(0, 160));
}

TEST_F(uid_scan_test, the_decoder_is_fed_before_the_raw_packet_and_drained_after_it) {
  offer_two();
  decoder.add_trace(1, database_master, build_trace({.buffer_id = "1"}, "body"));
  open_detecting(uid_text(first_uuid) + "..");
  EXPECT_EQ(session.start(), 0);
  const auto packets = session.packets;
  ASSERT_THAT(packets, SizeIs(2));
  EXPECT_TRUE(packets[0].is_raw());
  EXPECT_EQ(packets[0].decoder_calls, 6U) << "up to parse, and no trace taken";
  EXPECT_EQ(packets[1].format, "ip");
  EXPECT_EQ(packets[1].sequence_number, 2U);
}

TEST_F(uid_scan_test, one_byte_behind_a_uuid_is_not_enough) {
  offer_two();
  open_detecting("ab" + uid_text(first_uuid) + ".", 46);
  expect_failure(end_of_file, 22);
  EXPECT_THAT(session.logs, ElementsAre(progress("dekodrix not set start waiting for db uuid"),
                                        progress("start locating db UID from trace data"),
                                        progress("Cached data for locating database UID: 46")));
}

TEST_F(uid_scan_test, the_second_byte_behind_a_uuid_in_the_next_chunk_is_enough) {
  offer_two();
  open_detecting("ab" + uid_text(first_uuid) + "..", 46);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.logs[2], progress("Cached data for locating database UID: 46"));
  EXPECT_EQ(session.logs[3], progress("Cached data for locating database UID: 47"));
  EXPECT_EQ(session.logs[4], progress(std::string("found UID: ") + first_uuid));
}

TEST_F(uid_scan_test, a_text_that_is_not_a_uuid_is_logged_in_every_pass_and_passed_over) {
  offer_two();
  const std::string no_uuid = "this text is no UUID but is as long.";
  ASSERT_EQ(no_uuid.size(), 36U);
  open_detecting(uid_text(no_uuid) + uid_text(first_uuid) + "..", 50);
  EXPECT_EQ(session.start(), 0);
  ASSERT_GE(session.logs.size(), 9U);
  EXPECT_THAT(std::vector(session.logs.begin() + 2, session.logs.begin() + 9),
              ElementsAre(progress("Cached data for locating database UID: 50"),
                          progress("found UID: " + no_uuid),
                          recoverable("uuid does not match regex, continue searching "),
                          progress("Cached data for locating database UID: 88"),
                          progress("found UID: " + no_uuid),
                          recoverable("uuid does not match regex, continue searching "),
                          progress(std::string("found UID: ") + first_uuid)));
}

TEST_F(uid_scan_test, of_two_directories_with_the_uuid_the_earlier_one_is_taken) {
  offer_two();
  listed.push_back(listed.front());
  listed.back().version = "0.9";
  open_detecting(uid_text(first_uuid) + "..");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.log_texts(),
              testing::Contains("db located at path: " + of_uuid("1.0", first_uuid)));
  EXPECT_THAT(session.log_texts(),
              testing::Not(testing::Contains("try to locate db directory " + version("0.9"))));
}

TEST_F(uid_scan_test, a_uuid_in_capitals_needs_a_directory_in_capitals) {
  constexpr const char* capitals = "0A1B2C3D-0000-4000-8000-00112233AABB";
  offer("1.0", first_uuid);
  offer("2.0", capitals);
  open_detecting(uid_text(capitals) + "..");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.log_texts(),
              testing::Contains("db located at path: " + of_uuid("2.0", capitals)));
}

TEST_F(uid_scan_test, a_gz_file_is_found_and_taken_for_an_archive) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(first_uuid) + "..");
  const fs::path plain = in_cache(std::string("modem/1.0/") + first_uuid + "/1.0.json");
  fs::rename(plain, plain.parent_path() / "a.json.gz");
  expect_failure("Invalid gzip data");
}

// --- no database is found -------------------------------------------------------------------

TEST_F(uid_scan_test, an_empty_trace_ends_before_the_first_search) {
  offer_two();
  open_detecting("");
  expect_failure(end_of_file, 22);
  EXPECT_THAT(session.logs, ElementsAre(progress("dekodrix not set start waiting for db uuid"),
                                        progress("start locating db UID from trace data")));
}

TEST_F(uid_scan_test, a_trace_without_a_uuid_gives_not_one_packet) {
  offer_two();
  open_detecting(varied_bytes(5000), 1000);
  expect_failure(end_of_file, 22);
  EXPECT_THAT(session.packets, IsEmpty());
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(uid_scan_test, a_uuid_that_no_version_has_is_an_error) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(second_uuid) + "..");
  expect_failure("unable to locate db directory");
  EXPECT_THAT(session.packets, IsEmpty());
}

TEST_F(uid_scan_test, a_uuid_in_capitals_does_not_match_a_directory_in_small_letters) {
  offer("1.0", first_uuid);
  open_detecting(uid_text("0A1B2C3D-0000-4000-8000-00112233AABB") + "..");
  expect_failure("unable to locate db directory");
}

TEST_F(uid_scan_test, a_file_of_the_uuids_name_is_not_a_directory) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(second_uuid) + "..");
  directory.write(std::string("cache/modem/1.0/") + second_uuid, "x");
  expect_failure("unable to locate db directory");
}

TEST_F(uid_scan_test, a_directory_that_is_gone_is_a_file_system_error) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(first_uuid) + "..");
  fs::remove_all(version("1.0"));
  EXPECT_EQ(session.start(), 100);
  EXPECT_THAT(session.last_error().message, HasSubstr("directory iterator"));
  EXPECT_THAT(session.last_error().message, HasSubstr(version("1.0")));
}

TEST_F(uid_scan_test, a_directory_without_database_file_is_an_error) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(first_uuid) + "..");
  const std::string place = std::string("cache/modem/1.0/") + first_uuid;
  fs::remove_all(directory.path() / place);
  directory.write(place + "/readme.txt", "x");
  directory.write(place + "/db.tar", "x");
  directory.write(place + "/db.GZ", "x");
  expect_failure("unable to locate db file");
}

TEST_F(uid_scan_test, a_database_that_is_none_fails_the_run) {
  offer("1.0", first_uuid, "fw.json", "{}");
  open_detecting(uid_text(first_uuid) + "..");
  expect_failure("Trace database has missing fields or is invalid");
  EXPECT_THAT(session.packets, IsEmpty());
}

TEST_F(uid_scan_test, a_configuration_that_the_decoder_refuses_fails_the_run) {
  offer("1.0", first_uuid);
  decoder.refuse_configuration();
  open_detecting(uid_text(first_uuid) + "..");
  expect_failure("dekodrix config failed to set");
  EXPECT_THAT(decoder.calls_of(scripted_append_buffer), IsEmpty());
}

// The decoder is there since before it was configured, so nothing is searched again.
TEST_F(uid_scan_test, after_a_refused_configuration_a_second_start_does_not_search) {
  offer("1.0", first_uuid);
  decoder.refuse_configuration();
  open_detecting(uid_text(first_uuid) + ".." + varied_bytes(35), 45);
  expect_failure("dekodrix config failed to set");
  session.logs.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, IsEmpty());
  EXPECT_EQ(session.raw_bytes(), varied_bytes(35));
}

TEST_F(uid_scan_test, a_log_that_throws_fails_the_run) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(first_uuid) + "..");
  at_log(std::string("found UID: ") + first_uuid, [] { throw std::runtime_error("thrown"); });
  expect_failure("thrown");
}

// --- stopping ----------------------------------------------------------------------------

TEST_F(uid_scan_test, a_stop_ends_the_search_without_a_decoder_and_the_run_by_its_own_rules) {
  offer("1.0", first_uuid);
  const std::string trace = varied_bytes(200) + uid_text(first_uuid) + "..";
  open_detecting(trace, 64);
  at_log("Cached data for locating database UID: 128", [this] { EXPECT_EQ(session.stop(), 0); });
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.call_count(), 0U);
  const auto packets = session.packets;
  ASSERT_THAT(packets, SizeIs(2)) << "what was searched, and the one pass that sees the stop";
  EXPECT_EQ(packets[0].data, trace.substr(0, 128));
  EXPECT_EQ(packets[1].data, trace.substr(128, 64));
  EXPECT_EQ(json::parse(packets[1].metadata).at("modem_db_uuid"), "");
}

TEST_F(uid_scan_test, a_stop_before_the_first_chunk_searches_nothing) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(first_uuid) + ".." + varied_bytes(100), 64);
  at_log("start locating db UID from trace data", [this] { EXPECT_EQ(session.stop(), 0); });
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.packets, SizeIs(1));
  EXPECT_THAT(session.log_texts(),
              testing::Not(testing::Contains(testing::StartsWith("Cached data"))));
}

TEST_F(uid_scan_test, a_stop_after_the_uuid_was_found_still_sets_up_the_decoder) {
  offer("1.0", first_uuid);
  const std::string head = uid_text(first_uuid) + varied_bytes(21);
  ASSERT_EQ(head.size(), 64U);
  open_detecting(head + varied_bytes(200), 64);
  at_log(std::string("found UID: ") + first_uuid, [this] { EXPECT_EQ(session.stop(), 0); });
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(decoder.calls_of(scripted_new), SizeIs(1));
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).front().bytes, head);
}

// --- starting again ------------------------------------------------------------------------

TEST_F(uid_scan_test, a_second_start_has_its_decoder_and_searches_nothing) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(first_uuid) + "..");
  EXPECT_EQ(session.start(), 0);
  session.logs.clear();
  session.packets.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, IsEmpty());
  EXPECT_THAT(session.packets, IsEmpty());
  EXPECT_THAT(decoder.calls_of(scripted_new), SizeIs(1));
}

TEST_F(uid_scan_test, a_start_after_a_stopped_search_goes_on_with_what_was_collected) {
  offer("1.0", first_uuid);
  const std::string trace = varied_bytes(192) + uid_text(first_uuid) + "..";
  open_detecting(trace, 64);
  at_log("Cached data for locating database UID: 64", [this] { EXPECT_EQ(session.stop(), 0); });
  EXPECT_EQ(session.start(), 0);
  session.packets.clear();
  session.logs.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.logs[2], progress("Cached data for locating database UID: 128"));
  // The chunk of the pass that saw the stop went to the host only.
  EXPECT_EQ(decoder.appended(), trace.substr(0, 64) + trace.substr(128));
  EXPECT_EQ(session.raw_bytes(), trace.substr(0, 64) + trace.substr(128));
}

TEST_F(uid_scan_test, a_start_after_the_end_of_the_file_ends_the_same_way) {
  offer("1.0", first_uuid);
  open_detecting(varied_bytes(100));
  expect_failure(end_of_file, 22);
  expect_failure(end_of_file, 22);
}

TEST_F(uid_scan_test, a_start_after_a_missing_database_finds_it_once_it_is_there) {
  offer("1.0", first_uuid);
  open_detecting(uid_text(second_uuid) + ".." + varied_bytes(200), 64);
  expect_failure("unable to locate db directory");
  fs::copy(of_uuid("1.0", first_uuid), of_uuid("1.0", second_uuid));
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.appended(), uid_text(second_uuid) + ".." + varied_bytes(200));
}

}  // namespace
