// Recording a serial line: nothing that was received is lost.
#include <chrono>
#include <future>
#include <string>

#include "platform/file.h"
#include "tests/abi/auto_detect_fixture.h"
#include "tests/abi/serial_fixture.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::first_uuid;
using test_support::log_line;
using test_support::received_packet;
using test_support::reported_error;
using test_support::system_line_errors;
using test_support::uid_text;
using test_support::varied_bytes;

class recording_serial_test : public test_support::serial_fixture {
 protected:
  void open_recording(json more = json::object()) {
    more["recording"] = true;
    if (!more.contains("auto_detect_db_config")) {
      more["db_file_path"] = write_database(conversion_database());
    }
    open_line(more);
    session.logs.clear();
  }

  // A cache with one database.
  json cache() {
    json database = conversion_database();
    database["meta"]["uuid"] = first_uuid;
    const std::string text = database.dump();
    directory.write(std::string("cache/modem/1/") + first_uuid + "/db.json", text);
    directory.write("cache/config.json",
                    test_support::catalogue_of(
                        "2024-05-01 12:00:00",
                        {{"modem", "1", first_uuid, "db.json", veltra::sha256_hex(text)}})
                        .dump());
    return {{"chunk_size", 4},
            {"auto_detect_db_config",
             {{"cache_directory", platform::path_to_utf8(directory.path() / "cache")}}}};
  }

  void queue_ip(std::uint64_t parses, const std::string& body) {
    decoder.add_trace(parses, database_master, build_trace({.buffer_id = "1"}, body));
  }

  // Holds the run in the callback of the packet `number` until `meanwhile` is done.
  template <typename Action>
  void while_in_packet(std::uint64_t number, Action meanwhile) {
    in_callback = [number, meanwhile](const received_packet& packet) {
      if (packet.sequence_number == number) meanwhile();
    };
  }
};

TEST_F(recording_serial_test, a_stop_delivers_a_part_of_a_chunk_and_returns_0) {
  queue_ip(1, "ip");
  open_recording({{"chunk_size", 8}});
  start_receiving();
  send_and_drain("abcde");
  EXPECT_EQ(stop_and_wait(), 0);
  EXPECT_EQ(session.raw_bytes(), "abcde");
  EXPECT_EQ(decoder.appended(), "abcde");
  EXPECT_EQ(session.decoded().size(), 1U);
  EXPECT_EQ(session.last_error(), (reported_error{"", 0}));
}

TEST_F(recording_serial_test, a_stop_with_nothing_received_returns_0) {
  open_recording();
  start_receiving();
  EXPECT_EQ(stop_and_wait(), 0);
  EXPECT_TRUE(session.packets.empty());
}

TEST_F(recording_serial_test, a_stop_before_the_port_is_open_returns_0) {
  open_recording();
  session.on_log = [this](const log_line& logged) {
    if (logged.text == "open port") session.stop();
  };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.last_error(), (reported_error{"", 0}));
}

TEST_F(recording_serial_test, a_stop_delivers_all_that_waits_behind_a_slow_host) {
  if (system_line_errors().busy == 0) GTEST_SKIP() << "nothing says when a line is drained here";
  queue_ip(1, "one");
  queue_ip(2, "two");
  open_recording({{"chunk_size", 2}});
  const std::string waiting = varied_bytes(200'000);
  while_in_packet(1, [&] {
    send_and_drain(waiting, std::chrono::milliseconds(50));
    EXPECT_EQ(session.stop(), 0);
  });
  start_receiving();
  send("ab");
  EXPECT_EQ(result_of_start(), 0);
  EXPECT_EQ(session.raw_bytes(), "ab" + waiting);
  EXPECT_EQ(decoder.appended(), "ab" + waiting);
  EXPECT_EQ(session.decoded().size(), 2U);
  EXPECT_GT(session.raw().size(), 3U) << "one packet of 200 kB could not be broken off";
}

TEST_F(recording_serial_test, a_second_stop_ends_at_once_and_counts_what_is_left) {
  queue_ip(1, "one");
  queue_ip(1, "two");
  open_recording({{"chunk_size", 2}});
  while_in_packet(1, [&] {
    send_and_drain(varied_bytes(1000));
    EXPECT_EQ(session.stop(), 0);
    EXPECT_EQ(session.stop(), 0);
  });
  start_receiving();
  send("ab");
  EXPECT_EQ(result_of_start(), 100);
  EXPECT_EQ(session.last_error(),
            (reported_error{"stopped before the end: 1000 received bytes and 2 decoded traces were "
                            "not delivered",
                            100}));
  EXPECT_EQ(session.packets.size(), 1U);
}

TEST_F(recording_serial_test, a_second_stop_on_another_thread_wakes_nothing_that_waits_for_it) {
  open_recording({{"chunk_size", 2}});
  while_in_packet(1, [&] {
    send_and_drain(varied_bytes(1000));
    EXPECT_EQ(session.stop(), 0);
  });
  std::promise<void> draining;
  std::promise<void> stopped;
  const auto first = in_callback;
  in_callback = [&](const received_packet& packet) {
    first(packet);
    if (packet.sequence_number != 2) return;
    draining.set_value();
    stopped.get_future().wait();
  };
  start_receiving();
  send("ab");
  draining.get_future().wait();
  EXPECT_EQ(session.stop(), 0);
  stopped.set_value();
  EXPECT_EQ(result_of_start(), 0) << "the packet that was under way was the last";
  EXPECT_EQ(session.raw_bytes(), "ab" + varied_bytes(1000));
}

TEST_F(recording_serial_test, a_new_start_goes_on_with_what_a_second_stop_left) {
  queue_ip(1, "one");
  open_recording({{"chunk_size", 2}});
  while_in_packet(1, [&] {
    send_and_drain("cdefg");
    session.stop();
    session.stop();
  });
  start_receiving();
  send("ab");
  ASSERT_EQ(result_of_start(), 100);
  in_callback = nullptr;
  start_receiving();
  EXPECT_EQ(stop_and_wait(), 0);
  EXPECT_EQ(session.raw_bytes(), "abcdefg");
  EXPECT_EQ(decoder.appended(), "abcdefg");
  EXPECT_EQ(session.decoded().size(), 1U);
  EXPECT_EQ(session.packets.back().sequence_number, session.packets.size());
}

TEST_F(recording_serial_test, a_lost_port_delivers_what_came_before_and_then_fails) {
  queue_ip(2, "ip");
  open_recording({{"chunk_size", 8}});
  start_receiving();
  send("12345678");
  wait_for_raw_bytes(8);
  send_and_drain("abcde");
  line.reset();
  EXPECT_EQ(result_of_start(), 100);
  EXPECT_THAT(session.last_error().message, says_lost());
  EXPECT_EQ(session.raw_bytes(), "12345678abcde");
  EXPECT_EQ(decoder.appended(), "12345678abcde");
  EXPECT_EQ(session.decoded().size(), 1U);
}

TEST_F(recording_serial_test, a_failed_decoding_leaves_the_line_received) {
  open_recording({{"chunk_size", 3}});
  decoder.throw_from(scripted_parse, "the decoder is broken");
  start_receiving();
  send("abcdef");
  wait_for_raw_bytes(6);
  send_and_drain("g");
  EXPECT_EQ(stop_and_wait(), 0);
  EXPECT_EQ(session.raw_bytes(), "abcdefg");
  EXPECT_EQ(decoder.calls_of(scripted_parse).size(), 1U);
}

TEST_F(recording_serial_test,
       a_search_without_uuid_goes_on_over_stops_and_delivers_each_byte_once) {
  open_recording(cache());
  start_receiving();
  const std::string stream = "before" + uid_text(first_uuid) + "..";
  send("0123");
  wait_for_raw_bytes(4);
  send_and_drain(stream.substr(0, 18));
  EXPECT_EQ(stop_and_wait(), 0);
  EXPECT_EQ(session.raw_bytes(), "0123" + stream.substr(0, 18));
  EXPECT_EQ(decoder.call_count(), 0U);
  start_receiving();
  send_and_drain(stream.substr(18));
  EXPECT_EQ(stop_and_wait(), 0);
  EXPECT_EQ(session.raw_bytes(), "0123" + stream);
  EXPECT_EQ(decoder.appended(), "0123" + stream);
}

}  // namespace
