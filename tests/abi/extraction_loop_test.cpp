// The order in which a run reads, decodes and delivers.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/source_fixture.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::received_packet;
using test_support::varied_bytes;
using testing::ElementsAre;
using testing::IsEmpty;

class extraction_loop_test : public test_support::source_fixture {
 protected:
  void queue_ip(std::uint64_t parses, const std::string& body) {
    decoder.add_trace(parses, database_master, build_trace({.buffer_id = "1"}, body));
  }

  // Opens, and returns where the calls of the run begin.
  std::size_t open_run(std::string_view trace, const json& database = conversion_database()) {
    open_decoding(trace, database);
    return decoder.call_count();
  }

  std::vector<std::string> formats() const {
    std::vector<std::string> result;
    for (const auto& packet : session.packets) result.push_back(packet.format);
    return result;
  }
};

// --- without a decoder -------------------------------------------------------------------

TEST_F(extraction_loop_test, an_empty_file_gives_nothing) {
  open_trace("");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.packets, IsEmpty());
}

TEST_F(extraction_loop_test, an_empty_file_with_a_database_gives_nothing) {
  open_decoding("");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.packets, IsEmpty());
  EXPECT_THAT(decoder.calls_of(scripted_append_buffer), IsEmpty());
}

TEST_F(extraction_loop_test, a_file_that_shrank_ends_early) {
  const auto path = write_trace_of(5000);
  open({{"file_path", path}});
  std::filesystem::resize_file(path, 1500);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(5000).substr(0, 1500));
}

TEST_F(extraction_loop_test, a_file_that_grew_after_its_end_was_seen_is_not_read_on) {
  const auto path = write_trace_of(1500);
  open({{"file_path", path}});
  EXPECT_EQ(session.start(), 0);
  std::ofstream(path, std::ios::binary | std::ios::app) << "more";
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(1500));
}

TEST_F(extraction_loop_test, all_byte_values_come_through) {
  std::string bytes;
  for (int value = 0; value < 256; ++value) bytes += static_cast<char>(value);
  bytes += "\r\n\x1A\n\r";
  open_trace(bytes);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), bytes);
}

// --- calls of the decoder ----------------------------------------------------------------

TEST_F(extraction_loop_test, a_pass_drains_then_appends_then_parses) {
  const auto begin = open_run(varied_bytes(1500));
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(
      decoder.sequence(begin),
      ElementsAre(scripted_get_trace, scripted_append_buffer, scripted_parse, scripted_get_trace,
                  scripted_append_buffer, scripted_parse, scripted_get_trace_count));
}

TEST_F(extraction_loop_test, a_file_of_whole_chunks_ends_on_a_pass_without_bytes) {
  const auto begin = open_run(varied_bytes(1024));
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(decoder.sequence(begin),
              ElementsAre(scripted_get_trace, scripted_append_buffer, scripted_parse,
                          scripted_get_trace, scripted_get_trace_count));
}

TEST_F(extraction_loop_test, an_empty_file_asks_the_decoder_once) {
  const auto begin = open_run("");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(decoder.sequence(begin), ElementsAre(scripted_get_trace, scripted_get_trace_count));
}

TEST_F(extraction_loop_test, all_calls_of_a_run_use_the_one_handle) {
  queue_ip(1, "ip");
  open_run(varied_bytes(3000));
  EXPECT_EQ(session.start(), 0);
  const auto* handle = decoder.calls_of(scripted_new).at(0).handle;
  ASSERT_NE(handle, nullptr);
  for (const auto& call : decoder.calls()) EXPECT_EQ(call.handle, handle);
}

TEST_F(extraction_loop_test, the_decoder_gets_every_chunk_as_it_was_read) {
  open_run(varied_bytes(2500));
  EXPECT_EQ(session.start(), 0);
  std::vector<std::string> appended;
  for (const auto& call : decoder.calls_of(scripted_append_buffer)) appended.push_back(call.bytes);
  const auto bytes = varied_bytes(2500);
  EXPECT_THAT(appended,
              ElementsAre(bytes.substr(0, 1024), bytes.substr(1024, 1024), bytes.substr(2048)));
}

TEST_F(extraction_loop_test, a_chunk_is_parsed_before_it_is_delivered_raw) {
  const auto begin = open_run(varied_bytes(2000));
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[0].decoder_calls, begin + 3);  // get_trace, append, parse
}

TEST_F(extraction_loop_test, draining_goes_on_until_no_trace_is_left) {
  for (const char* body : {"one", "two", "three"}) queue_ip(0, body);
  const auto begin = open_run("");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(decoder.sequence(begin),
              ElementsAre(scripted_get_trace, scripted_get_trace, scripted_get_trace,
                          scripted_get_trace, scripted_get_trace_count));
  EXPECT_EQ(session.packets.size(), 3U);
}

// --- the order of packets ------------------------------------------------------------------

TEST_F(extraction_loop_test, traces_follow_the_chunk_they_came_from_and_precede_the_next) {
  queue_ip(1, "one");
  queue_ip(2, "two");
  open_run(varied_bytes(2500));
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace", "ip", "modem_trace", "ip", "modem_trace"));
  EXPECT_EQ(session.packets[1].data, "one");
  EXPECT_EQ(session.packets[3].data, "two");
}

TEST_F(extraction_loop_test, traces_of_the_last_chunk_are_delivered_before_the_end) {
  queue_ip(3, "last");
  open_run(varied_bytes(2500));
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace", "modem_trace", "modem_trace", "ip"));
}

TEST_F(extraction_loop_test, traces_that_wait_at_the_start_come_before_the_first_chunk) {
  queue_ip(0, "early");
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("ip", "modem_trace"));
}

TEST_F(extraction_loop_test, traces_keep_their_order) {
  for (int index = 0; index < 50; ++index) queue_ip(1, std::to_string(index));
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  const auto decoded = session.decoded();
  ASSERT_EQ(decoded.size(), 50U);
  for (std::size_t index = 0; index < decoded.size(); ++index) {
    EXPECT_EQ(decoded[index].data, std::to_string(index));
  }
}

// --- the end of the file -----------------------------------------------------------------

TEST_F(extraction_loop_test, the_decoder_is_asked_for_its_count_only_at_the_end_of_the_file) {
  queue_ip(1, "one");
  open_run(varied_bytes(10 * 1024 + 1));
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_get_trace_count).size(), 1U);
}

TEST_F(extraction_loop_test, a_count_that_is_not_0_keeps_the_loop_going) {
  for (const std::uint64_t count : {3U, 2U, 1U, 0U}) decoder.add_trace_count(count);
  const auto begin = open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(decoder.sequence(begin),
              ElementsAre(scripted_get_trace, scripted_append_buffer, scripted_parse,
                          scripted_get_trace_count, scripted_get_trace, scripted_get_trace_count,
                          scripted_get_trace, scripted_get_trace_count, scripted_get_trace,
                          scripted_get_trace_count));
}

TEST_F(extraction_loop_test, a_huge_count_counts_as_not_0) {
  decoder.add_trace_count(std::uint64_t{1} << 32);
  decoder.add_trace_count(~std::uint64_t{0});
  decoder.add_trace_count(0);
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_get_trace_count).size(), 3U);
}

TEST_F(extraction_loop_test, waiting_for_the_decoder_delivers_no_empty_chunks) {
  for (const std::uint64_t count : {1U, 1U, 1U, 0U}) decoder.add_trace_count(count);
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace"));
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).size(), 1U);
  EXPECT_EQ(decoder.calls_of(scripted_parse).size(), 1U);
}

TEST_F(extraction_loop_test, the_count_is_believed_even_when_a_trace_waits) {
  decoder.add_trace_count(0);
  queue_ip(1, "waiting");
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace"));
}

TEST_F(extraction_loop_test, a_trace_that_was_left_waiting_comes_with_the_next_start) {
  decoder.add_trace_count(0);
  queue_ip(1, "waiting");
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace", "ip"));
}

// --- traces that make no packet ---------------------------------------------------------

TEST_F(extraction_loop_test, a_trace_of_an_unknown_master_is_dropped_in_silence) {
  decoder.add_trace(1, database_master + 1, build_trace({.buffer_id = "1"}, "ip"));
  open_run("abc");
  session.logs.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace"));
  EXPECT_THAT(session.logs, IsEmpty());
}

TEST_F(extraction_loop_test, a_dropped_trace_takes_no_sequence_number) {
  decoder.add_trace(1, database_master + 1, build_trace({.buffer_id = "1"}, "unknown"));
  queue_ip(1, "known");
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[1].sequence_number, 2U);
}

TEST_F(extraction_loop_test, a_record_without_data_is_dropped) {
  decoder.add_trace_without_data(1, database_master, 0);
  queue_ip(1, "known");
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace", "ip"));
}

TEST_F(extraction_loop_test, a_record_that_claims_data_it_does_not_have_is_dropped) {
  decoder.add_trace_without_data(1, database_master, 100);
  queue_ip(1, "known");
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace", "ip"));
}

TEST_F(extraction_loop_test, a_record_without_data_of_an_unknown_master_is_dropped) {
  decoder.add_trace_without_data(1, database_master + 1, 100);
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace"));
}

TEST_F(extraction_loop_test, an_empty_record_is_dropped) {
  decoder.add_trace(1, database_master, "");
  open_run("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(formats(), ElementsAre("modem_trace"));
}

}  // namespace
