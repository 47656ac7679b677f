// kovax_source_stop and a run over a serial port, and the run after it.
#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "tests/abi/serial_fixture.h"
#include "tests/support/median.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::log_line;
using test_support::received_packet;
using testing::ElementsAre;
using steady = std::chrono::steady_clock;

using serial_stop_test = test_support::serial_fixture;

TEST_F(serial_stop_test, ends_a_read_that_waits_within_100_ms) {
  open_line();
  std::vector<steady::duration> times;
  for (int round = 0; round < 5; ++round) {
    start_receiving();
    send_and_drain("not a whole chunk");
    const auto begin = steady::now();
    EXPECT_EQ(stop_and_wait(), 100);
    times.push_back(steady::now() - begin);
    EXPECT_EQ(session.last_error(), (test_support::reported_error{"stop extracting", 100}));
  }
  EXPECT_LT(test_support::median(times), std::chrono::milliseconds(100));
}

TEST_F(serial_stop_test, before_the_port_is_open_is_not_lost) {
  open_line();
  session.on_log = [this](const log_line& logged) {
    if (logged.text == "open port") {
      EXPECT_EQ(session.stop(), 0);
    }
  };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error().message, "stop extracting");
}

TEST_F(serial_stop_test, before_start_has_no_effect_on_it) {
  open_line({{"chunk_size", 2}});
  EXPECT_EQ(session.stop(), 0);
  start_receiving();
  send("ab");
  wait_for_packets(1);
  EXPECT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.raw_bytes(), "ab");
}

TEST_F(serial_stop_test, releases_the_port_for_others) {
  open_line();
  start_receiving();
  stop_and_wait();
  test_support::source_session second;
  ASSERT_EQ(second.init({{"serialport", {{"path", device()}}}}), 0);
  auto run = std::async(std::launch::async, [&] { return second.start(); });
  EXPECT_EQ(line->wait_for_reader(std::chrono::hours(1)), outcome::done);
  EXPECT_EQ(second.stop(), 0);
  EXPECT_EQ(run.get(), 100);
  EXPECT_EQ(second.last_error().message, "stop extracting");
}

TEST_F(serial_stop_test, in_a_raw_callback_delivers_no_further_chunk) {
  open_line({{"chunk_size", 2}});
  in_callback = [this](const received_packet&) { EXPECT_EQ(session.stop(), 0); };
  start_receiving();
  send("abcdefgh");
  EXPECT_EQ(result_of_start(), 100);
  EXPECT_EQ(session.last_error().message, "stop extracting");
  EXPECT_EQ(session.packets.size(), 1U);
}

TEST_F(serial_stop_test, in_a_decoded_callback_returns_0) {
  decoder.add_trace(1, database_master, build_trace({.buffer_id = "1"}, "one"));
  decoder.add_trace(1, database_master, build_trace({.buffer_id = "1"}, "two"));
  open_line({{"chunk_size", 3}, {"db_file_path", write_database(conversion_database())}});
  in_callback = [this](const received_packet& packet) {
    if (!packet.is_raw()) {
      EXPECT_EQ(session.stop(), 0);
    }
  };
  start_receiving();
  send("abc");
  EXPECT_EQ(result_of_start(), 0);
  EXPECT_EQ(session.packets.size(), 2U);
}

TEST_F(serial_stop_test, lets_a_new_start_go_on_with_offsets_and_numbers) {
  open_line({{"chunk_size", 3}});
  start_receiving();
  send("abc");
  wait_for_packets(1);
  ASSERT_EQ(stop_and_wait(), 100);
  session.logs.clear();
  start_receiving();
  send("def");
  wait_for_packets(2);
  ASSERT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.logs.front().text, "open port");
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[1].data, "def");
  EXPECT_EQ(session.packets[1].sequence_number, 2U);
  EXPECT_EQ(json::parse(session.packets[1].metadata).at("data_offset"), 6);
}

TEST_F(serial_stop_test, keeps_what_was_received_and_is_less_than_a_chunk_for_the_next_start) {
  open_line({{"chunk_size", 8}});
  start_receiving();
  send_and_drain("abcde");
  session.logs.clear();
  ASSERT_EQ(stop_and_wait(), 100);
  EXPECT_THAT(session.log_texts(),
              ElementsAre("veltra stop_extracting entry", "veltra stop_extracting exit"));
  start_receiving();
  send("fgh");
  wait_for_packets(1);
  ASSERT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.packets.at(0).data, "abcdefgh");
}

TEST_F(serial_stop_test, keeps_the_waiting_chunks_for_the_next_start) {
  open_line({{"chunk_size", 2}});
  std::promise<void> begun;
  std::promise<void> sent;
  in_callback = [&](const received_packet& packet) {
    if (packet.sequence_number != 1) return;
    begun.set_value();
    sent.get_future().wait();
    EXPECT_EQ(session.stop(), 0);
  };
  start_receiving();
  send("ab");
  begun.get_future().wait();
  send_and_drain("cdefgh");
  sent.set_value();
  ASSERT_EQ(result_of_start(), 100);
  EXPECT_EQ(session.raw_bytes(), "ab");
  start_receiving();
  wait_for_packets(2);
  ASSERT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.raw_bytes(), "abcdefgh");
}

TEST_F(serial_stop_test, many_times_in_a_row_always_ends_the_run) {
  open_line();
  for (int i = 0; i < 50; ++i) {
    begin_start();
    EXPECT_EQ(stop_until_start_returns(), 100);
    EXPECT_EQ(session.last_error().message, "stop extracting");
  }
}

}  // namespace
