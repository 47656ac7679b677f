// A run over a serial port: what is received becomes packets, and how a run ends.
#include <chrono>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "tests/abi/serial_fixture.h"

namespace {

using kovax::json;
using serial_source_test = test_support::serial_fixture;
using serial_stop_test = test_support::serial_fixture;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::log_line;
using test_support::received_packet;
using test_support::system_line_errors;
using test_support::varied_bytes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(serial_source_test, init_logs_the_port_and_its_settings_with_the_instance) {
  open_line();
  EXPECT_THAT(
      session.logs,
      ElementsAre(log_line{session.handle(), 2, "Using serial port " + device() + " for tracing"},
                  log_line{session.handle(), 2,
                           "Using serial port with settings: baud_rate: 1000000; "
                           "character_size: 8; parity: none; stopbits: 1; "
                           "flow_control: none "}));
}

TEST_F(serial_source_test, with_a_trace_file_as_well_the_port_is_neither_named_nor_opened) {
  open_line({{"file_path", write_trace("abc")}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_TRUE(session.logs.empty());
  EXPECT_EQ(session.raw_bytes(), "abc");
}

TEST_F(serial_source_test, start_opens_the_port) {
  open_line();
  session.logs.clear();
  start_receiving();
  stop_and_wait();
  EXPECT_EQ(session.logs.front(), (log_line{session.handle(), 2, "open port"}));
}

TEST_F(serial_source_test, a_port_that_does_not_exist_fails_start) {
  open({{"serialport", {{"path", "COM255"}}}});
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error().message,
            with_reason("error: ERR_SERIALPORT_OPEN message: Win32 open serialport error: ",
                        system_line_errors().missing));
}

TEST_F(serial_source_test, a_port_that_another_instance_reads_fails_start) {
  if (system_line_errors().busy == 0) GTEST_SKIP() << "a line without hardware opens twice here";
  open_line();
  start_receiving();
  test_support::source_session second;
  ASSERT_EQ(second.init({{"serialport", {{"path", device()}}}}), 0);
  EXPECT_EQ(second.start(), 100);
  EXPECT_THAT(second.last_error().message,
              HasSubstr(std::system_category().message(system_line_errors().busy)));
}

TEST_F(serial_source_test, the_decoder_is_deleted_before_the_port_is_closed) {
  if (system_line_errors().busy == 0) GTEST_SKIP() << "a line without hardware opens twice here";
  open_line({{"chunk_size", 1}, {"db_file_path", write_database(conversion_database())}});
  in_callback = [](const received_packet&) { throw std::runtime_error("leaves the port open"); };
  start_receiving();
  send("a");
  ASSERT_EQ(result_of_start(), 100);
  test_support::source_session second;
  ASSERT_EQ(second.init({{"serialport", {{"path", device()}}}}), 0);
  second.on_log = [&](const log_line& logged) {
    if (logged.text == "open port") second.stop();  // or it would read, if the port were free
  };
  std::int32_t result_at_delete = 0;
  decoder.on_delete([&] { result_at_delete = second.start(); });
  EXPECT_EQ(session.release(), 0);
  EXPECT_EQ(result_at_delete, 100);
  EXPECT_THAT(second.last_error().message,
              HasSubstr(std::system_category().message(system_line_errors().busy)));
}

TEST_F(serial_source_test, two_ports_in_one_process_do_not_disturb_each_other) {
  open_line({{"chunk_size", 3}});
  start_receiving();
  test_support::modem_line other_line;
  test_support::source_session other;
  ASSERT_EQ(other.init({{"serialport", {{"path", other_line.device()}}}}), 0);
  auto other_run = std::async(std::launch::async, [&] { return other.start(); });
  ASSERT_EQ(other_line.wait_for_reader(std::chrono::hours(1)), outcome::done);
  EXPECT_EQ(other.stop(), 0);
  EXPECT_EQ(other_run.get(), 100);
  send("abc");
  wait_for_packets(1);
  EXPECT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.raw_bytes(), "abc");
}

TEST_F(serial_source_test, every_byte_becomes_raw_packets_in_order) {
  open_line({{"chunk_size", 1}});
  const std::string sent = varied_bytes(200'000);
  std::promise<void> complete;
  std::size_t received = 0;
  in_callback = [&](const received_packet& packet) {
    received += packet.data.size();
    if (received == sent.size()) complete.set_value();
  };
  start_receiving();
  send(sent);
  complete.get_future().wait();
  EXPECT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.raw_bytes(), sent);
}

TEST_F(serial_source_test, packets_name_no_data_size) {
  open_line({{"chunk_size", 4}});
  start_receiving();
  send("abcd");
  wait_for_packets(1);
  stop_and_wait();
  EXPECT_EQ(json::parse(session.packets.at(0).metadata),
            (json{{"data_offset", 4}, {"modem_db_path", ""}, {"modem_db_uuid", ""}}));
}

TEST_F(serial_source_test, a_chunk_waits_until_it_is_whole) {
  open_line({{"chunk_size", 8}});
  start_receiving();
  send_and_drain("abcde");
  send("fgh");
  wait_for_packets(1);
  stop_and_wait();
  ASSERT_EQ(session.packets.size(), 1U);
  EXPECT_EQ(session.packets[0].data, "abcdefgh");
}

TEST_F(serial_source_test, the_default_chunk_is_1024_bytes) {
  open_line();
  start_receiving();
  const std::string sent = varied_bytes(1024);
  send_and_drain(sent.substr(0, 1023));
  send(sent.substr(1023));
  wait_for_packets(1);
  stop_and_wait();
  EXPECT_EQ(session.packets.at(0).data, sent);
}

TEST_F(serial_source_test, a_read_takes_everything_that_was_received_meanwhile) {
  open_line({{"chunk_size", 4}});
  std::promise<void> begun;
  std::promise<void> sent;
  in_callback = [&, first = true](const received_packet&) mutable {
    if (!std::exchange(first, false)) return;
    begun.set_value();
    sent.get_future().wait();
  };
  start_receiving();
  send("abcd");
  begun.get_future().wait();
  send_and_drain(varied_bytes(3000));
  // The worker reads these only after it has put the others away.
  send_and_drain("efgh");
  sent.set_value();
  wait_for_raw_bytes(3008);
  stop_and_wait();
  EXPECT_EQ(session.raw_bytes(), "abcd" + varied_bytes(3000) + "efgh");
  EXPECT_LE(session.packets.size(), 3U) << "4 bytes a packet would be 752 of them";
}

TEST_F(serial_source_test, decoded_packets_come_without_waiting_for_the_next_chunk) {
  decoder.add_trace(1, database_master, build_trace({.buffer_id = "1"}, "ip packet"), 7);
  open_line({{"chunk_size", 3}, {"db_file_path", write_database(conversion_database())}});
  start_receiving();
  send("abc");
  wait_for_packets(2);
  stop_and_wait();
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[0].data, "abc");
  EXPECT_EQ(session.packets[1].data, "ip packet");
  EXPECT_FALSE(json::parse(session.packets[1].metadata).contains("data_size"));
  EXPECT_EQ(decoder.appended(), "abc");
}

TEST_F(serial_source_test, a_device_that_is_lost_fails_start_with_a_text_that_says_so) {
  open_line();
  start_receiving();
  line.reset();
  EXPECT_EQ(result_of_start(), 100);
  EXPECT_EQ(session.last_error().code, 100);
  EXPECT_THAT(session.last_error().message, says_lost());
}

TEST_F(serial_source_test, nothing_is_logged_between_the_opening_and_the_end_of_a_run) {
  open_line({{"chunk_size", 8}});
  session.logs.clear();
  start_receiving();
  send_and_drain("less");
  line.reset();
  EXPECT_EQ(result_of_start(), 100);
  EXPECT_THAT(session.logs, ElementsAre(log_line{session.handle(), 2, "open port"}));
}

TEST_F(serial_source_test, a_lost_device_stays_lost_until_stop_and_is_then_opened_again) {
  open_line();
  start_receiving();
  line.reset();
  result_of_start();
  EXPECT_EQ(session.start(), 100);
  EXPECT_THAT(session.last_error().message, says_lost());
  session.stop();
  EXPECT_EQ(session.start(), 100);
  EXPECT_THAT(session.last_error().message, StartsWith("error: ERR_SERIALPORT_OPEN"));
}

TEST_F(serial_source_test, a_setting_that_the_line_cannot_hold_fails_start) {
  open_line({{"serialport", {{"settings", {{"data_bits", 9}}}}}});
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error().message,
            with_reason("error: ERR_ASSIGN_SETTINGS message: Win32 SetCommState error: ",
                        system_line_errors().refused_setting));
}

// --- stop, and the run after it ------------------------------------------------------

// The read has no timeout, so that only the stop itself can end it.
TEST_F(serial_stop_test, ends_a_read_that_waits) {
  open_line();
  for (int round = 0; round < 5; ++round) {
    start_receiving();
    send_and_drain("not a whole chunk");
    EXPECT_EQ(stop_and_wait(), 100);
    EXPECT_EQ(session.last_error(), (test_support::reported_error{"stop extracting", 100}));
  }
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
  session.forget_logs();
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
