// Recording a trace file: raw packets come first, and a failed decoding ends nothing.
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/abi/auto_detect_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::first_uuid;
using test_support::log_line;
using test_support::received_packet;
using test_support::reported_error;
using test_support::second_uuid;
using test_support::uid_text;
using test_support::varied_bytes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class recording_test : public test_support::auto_detect_fixture {
 protected:
  void queue_ip(std::uint64_t parses, const std::string& body) {
    decoder.add_trace(parses, database_master, build_trace({.buffer_id = "1"}, body));
  }

  // A trace file with a database, and where the decoder's calls of the run begin.
  std::size_t open_recording(const std::string& trace,
                             const json& database = conversion_database()) {
    open({{"file_path", write_trace(trace)},
          {"db_file_path", write_database(database)},
          {"recording", true}});
    session.logs.clear();
    return decoder.call_count();
  }

  // A trace file that has to name its database.
  void open_searching(const std::string& trace, std::size_t chunk_size = 16) {
    publish();
    auto all = parameters(trace);
    all["chunk_size"] = chunk_size;
    all["recording"] = true;
    open(all);
    session.logs.clear();
  }

  static std::uint64_t offset_of(const received_packet& packet) {
    return json::parse(packet.metadata).at("data_offset").get<std::uint64_t>();
  }

  // Every packet is numbered, and its offset is the count of raw bytes up to it.
  void expect_numbered() const {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < session.packets.size(); ++i) {
      const received_packet& packet = session.packets[i];
      if (packet.is_raw()) bytes += packet.data_size;
      EXPECT_EQ(packet.sequence_number, i + 1);
      EXPECT_EQ(offset_of(packet), bytes);
    }
  }

  std::vector<std::string> failures() const {
    std::vector<std::string> texts;
    for (const log_line& line : session.logs) {
      if (line.level == 5) texts.push_back(line.text);
    }
    return texts;
  }
};

// --- the parameter -----------------------------------------------------------------------

TEST_F(recording_test, that_is_not_a_boolean_is_refused) {
  EXPECT_THAT(init_failure(json{{"file_path", write_trace("x")}, {"recording", "yes"}}),
              HasSubstr("type must be boolean, but is string"));
}

TEST_F(recording_test, a_rest_that_is_not_a_number_is_refused) {
  const std::string trace = write_trace("x");
  EXPECT_THAT(init_failure(json{{"file_path", trace}, {"recording_rest", "10"}}),
              HasSubstr("type must be number, but is string"));
  test_support::source_session run;
  EXPECT_EQ(run.init({{"file_path", trace}, {"recording_rest", 1e300}}), 0);
}

TEST_F(recording_test, that_is_false_changes_nothing) {
  std::vector<scripted_function> calls;
  std::vector<std::size_t> calls_before_packets;
  for (const bool given : {false, true}) {
    test_support::source_session run;
    decoder.clear();
    queue_ip(1, "one");
    json parameters = {{"file_path", write_trace(varied_bytes(3000))},
                       {"db_file_path", write_database(conversion_database())}};
    if (given) parameters["recording"] = false;
    ASSERT_EQ(run.init(parameters), 0);
    EXPECT_EQ(run.start(), 0);
    std::vector<std::size_t> before;
    for (const received_packet& packet : run.packets) before.push_back(packet.decoder_calls);
    if (given) {
      EXPECT_EQ(decoder.sequence(), calls);
      EXPECT_EQ(before, calls_before_packets);
    }
    calls = decoder.sequence();
    calls_before_packets = before;
  }
}

TEST_F(recording_test, logs_no_statistics_of_a_decoder_that_does_not_count) {
  open({{"file_path", write_trace("x")},
        {"db_file_path", write_database(conversion_database())},
        {"log_statistics", true}});
  session.logs.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, IsEmpty());
}

TEST_F(recording_test, refuses_a_wish_for_statistics_that_is_not_a_boolean) {
  EXPECT_THAT(init_failure(json{{"file_path", write_trace("x")}, {"log_statistics", 1}}),
              HasSubstr("type must be boolean, but is number"));
}

// --- raw packets come first ----------------------------------------------------------------

TEST_F(recording_test, delivers_a_chunk_before_the_decoder_gets_it) {
  const std::size_t begin = open_recording(varied_bytes(1500));
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[0].decoder_calls, begin + 1);  // get_trace
  EXPECT_EQ(session.packets[1].decoder_calls, begin + 4);  // and append, parse, get_trace
  EXPECT_EQ(decoder.appended(), varied_bytes(1500));
}

TEST_F(recording_test, delivers_all_traces_each_behind_its_chunk) {
  queue_ip(1, "one");
  queue_ip(2, "two");
  queue_ip(2, "three");
  open_recording(varied_bytes(1500));
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 5U);
  EXPECT_EQ(session.packets[1].data, "one");
  EXPECT_EQ(session.packets[3].data, "two");
  EXPECT_EQ(session.packets[4].data, "three");
  expect_numbered();
}

TEST_F(recording_test, waits_at_the_end_of_the_file_until_the_decoder_holds_nothing) {
  for (const std::uint64_t count : {2U, 1U, 0U}) decoder.add_trace_count(count);
  open_recording("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_get_trace_count).size(), 3U);
}

TEST_F(recording_test, delivers_during_the_search_and_not_again) {
  offer("1.0", first_uuid);
  const std::string stream = varied_bytes(40) + uid_text(first_uuid) + ".." + varied_bytes(40);
  std::size_t delivered_before_the_database = 0;
  open_searching(stream);
  at_log("try to locate db directory " + in_cache("modem/1.0"),
         [&] { delivered_before_the_database = session.packets.size(); });
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), stream);
  EXPECT_EQ(delivered_before_the_database, 6U) << "85 bytes in chunks of 16";
  EXPECT_EQ(decoder.appended(), stream);
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).front().bytes, stream.substr(0, 6 * 16));
  EXPECT_EQ(json::parse(session.packets.front().metadata).at("modem_db_uuid"), "");
  EXPECT_EQ(json::parse(session.packets.back().metadata).at("modem_db_uuid"), first_uuid);
  expect_numbered();
}

TEST_F(recording_test, logs_a_search_like_any_other) {
  offer("1.0", first_uuid);
  open_searching(uid_text(first_uuid) + "..", 45);
  EXPECT_EQ(session.start(), 0);
  ASSERT_GE(session.logs.size(), 4U);
  EXPECT_EQ(session.logs[0], progress("dekodrix not set start waiting for db uuid"));
  EXPECT_EQ(session.logs[1], progress("start locating db UID from trace data"));
  EXPECT_EQ(session.logs[2], progress("Cached data for locating database UID: 45"));
  EXPECT_EQ(session.logs[3], progress(std::string("found UID: ") + first_uuid));
}

TEST_F(recording_test, of_a_file_without_uuid_ends_with_22_behind_its_last_byte) {
  offer("1.0", first_uuid);
  for (const std::size_t size : {40U, 48U}) {  // a part of a chunk at the end, and none
    open_searching(varied_bytes(size));
    EXPECT_EQ(session.start(), 22);
    EXPECT_EQ(session.last_error(),
              (reported_error{"End of file reached while searching for the database UID", 22}));
    EXPECT_EQ(session.raw_bytes(), varied_bytes(size));
    session.release();
    session.packets.clear();
  }
}

// --- a failure of the decoding ---------------------------------------------------------------

TEST_F(recording_test, goes_on_without_a_database_that_is_not_in_the_cache) {
  offer("1.0", first_uuid);
  const std::string stream = varied_bytes(3) + uid_text(second_uuid) + ".." + varied_bytes(60);
  open_searching(stream);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), stream);
  EXPECT_THAT(failures(), ElementsAre("decoding stopped: unable to locate db directory"));
  EXPECT_EQ(session.logs.back(), recoverable("decoding stopped: unable to locate db directory"));
  EXPECT_EQ(decoder.call_count(), 0U);
  EXPECT_EQ(session.last_error(), (reported_error{"", 0}));
}

TEST_F(recording_test, goes_on_without_a_database_that_cannot_be_loaded) {
  for (const auto& [content, reason] :
       {std::pair("{", "Trace database has missing fields or is invalid"),
        std::pair(R"({"meta": {"id": 3, "endianness": "little", "trace_id_size": 2,
                      "trace_type_descriptors": []}})",
                  "dekodrix config not found")}) {
    listed.clear();
    offer("1.0", first_uuid, "1.0.json", content);
    const std::string stream = uid_text(first_uuid) + ".." + varied_bytes(60);
    decoder.clear();
    std::filesystem::remove_all(cache);
    open_searching(stream);
    EXPECT_EQ(session.start(), 0);
    EXPECT_EQ(session.raw_bytes(), stream);
    EXPECT_THAT(failures(), ElementsAre(std::string("decoding stopped: ") + reason));
    EXPECT_THAT(decoder.calls_of(scripted_append_buffer), IsEmpty());
    session.release();
    session.packets.clear();
  }
}

class recording_failure_test : public recording_test,
                               public test_support::given_value<scripted_function> {};

TEST_GIVEN(recording_failure_test, of_the_decoder_ends_the_decoding_and_not_the_run) {
  open_recording(varied_bytes(5000));
  decoder.throw_from(given(), "the decoder is broken");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(5000));
  EXPECT_THAT(session.logs, ElementsAre(recoverable("decoding stopped: the decoder is broken")));
  const auto calls = decoder.sequence();
  EXPECT_EQ(calls.back(), given()) << "the decoder was called again";
}

TEST_GIVEN(recording_failure_test, that_is_not_a_standard_exception_has_a_text_too) {
  open_recording(varied_bytes(2000));
  decoder.throw_int_from(given());
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, ElementsAre(recoverable("decoding stopped: unknown error")));
}

TEST_GIVEN(recording_failure_test, is_for_good) {
  open_recording(varied_bytes(2000));
  decoder.throw_from(given(), "the decoder is broken");
  EXPECT_EQ(session.start(), 0);
  const std::size_t calls = decoder.call_count();
  session.logs.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.call_count(), calls);
  EXPECT_THAT(session.logs, IsEmpty());
}

GIVEN(calls, recording_failure_test,
      {scripted_append_buffer, scripted_parse, scripted_get_trace, scripted_get_trace_count});

TEST_F(recording_test, goes_on_behind_a_trace_that_cannot_be_converted) {
  auto database = conversion_database();
  database["traces"][0]["format_items"][0]["reference"] = "900";
  decoder.add_trace(
      1, database_master,
      build_trace({.id = test_support::id::formatted_at, .buffer_id = "0"}, "body and more"));
  queue_ip(1, "next");
  open_recording(varied_bytes(3000), database);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(3000));
  EXPECT_TRUE(session.decoded().empty());
  ASSERT_EQ(session.logs.size(), 1U);
  EXPECT_THAT(session.logs[0].text,
              StartsWith("decoding stopped: [json.exception.type_error.302]"));
}

// --- a callback that throws ------------------------------------------------------------------

TEST_F(recording_test, ends_when_a_packet_callback_throws_and_goes_on_behind_that_packet) {
  queue_ip(1, "one");
  queue_ip(1, "two");
  open_recording(varied_bytes(3000));
  for (const std::uint64_t number : {1U, 2U}) {  // a raw packet, then a decoded one
    session.on_packet = [number](const received_packet& packet) {
      if (packet.sequence_number == number) throw std::runtime_error("the host is broken");
    };
    EXPECT_EQ(session.start(), 100);
    EXPECT_EQ(session.last_error(), (reported_error{"the host is broken", 100}));
  }
  session.on_packet = nullptr;
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(3000));
  EXPECT_EQ(session.decoded().size(), 2U);
  EXPECT_EQ(decoder.appended(), varied_bytes(3000));
  EXPECT_THAT(session.logs, IsEmpty());
  expect_numbered();
}

TEST_F(recording_test, ends_when_the_log_cannot_take_the_end_of_the_decoding) {
  open_recording(varied_bytes(3000));
  decoder.throw_from(scripted_parse, "the decoder is broken");
  session.on_log = [](const log_line&) { throw std::runtime_error("the log is broken"); };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"the log is broken", 100}));
}

// --- stop ------------------------------------------------------------------------------------

TEST_F(recording_test, delivers_what_the_decoder_holds_after_a_stop) {
  for (const char* body : {"one", "two", "three"}) queue_ip(1, body);
  open_recording(varied_bytes(5000));
  session.on_packet = [this](const received_packet& packet) {
    if (packet.sequence_number == 1) session.stop();
  };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(1024)) << "a file is not received";
  EXPECT_EQ(session.decoded().size(), 3U);
  session.on_packet = nullptr;
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(5000));
}

TEST_F(recording_test, ends_at_a_second_stop_and_counts_what_it_leaves) {
  for (const char* body : {"one", "two", "three"}) queue_ip(1, body);
  open_recording(varied_bytes(5000));
  session.on_packet = [this](const received_packet& packet) {
    if (packet.sequence_number <= 2) session.stop();
  };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(
      session.last_error(),
      (reported_error{"stopped before the end: 0 received bytes and 2 decoded traces were not "
                      "delivered",
                      100}));
  EXPECT_EQ(session.packets.size(), 2U);
}

TEST_F(recording_test, that_has_delivered_all_is_not_failed_by_a_second_stop) {
  queue_ip(1, "one");
  open_recording(varied_bytes(1000));
  session.on_packet = [this](const received_packet&) { session.stop(); };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 2U);
}

}  // namespace
