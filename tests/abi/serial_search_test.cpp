// The search for the database in a stream that comes from a serial port.
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "platform/file.h"
#include "plugin/database/cached_database.h"
#include "tests/abi/auto_detect_fixture.h"
#include "tests/abi/serial_fixture.h"
#include "tests/support/modem_line.h"

namespace {

using kovax::json;
using namespace std::chrono_literals;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::first_uuid;
using test_support::log_line;
using test_support::modem_line;
using test_support::received_packet;
using test_support::reported_error;
using test_support::uid_text;
using test_support::varied_bytes;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// --- streams and stops ---------------------------------------------------------------

constexpr auto uuid = "01234567-89ab-cdef-0123-456789abcdef";

class serial_search_test : public test_support::serial_fixture {
 protected:
  // A cache with one database, and the parameters that name it.
  json cache() {
    json database = conversion_database();
    database["meta"]["uuid"] = uuid;
    const std::string text = database.dump();
    directory.write(std::string("cache/modem/1/") + uuid + "/db.json", text);
    const json version = {
        {"version", "1"},
        {"uuid", uuid},
        {"database", {{"path", "db.json"}, {"sha256", veltra::sha256_hex(text)}}}};
    const json catalogue = {{"firmwares",
                             {{"updated_timestamp", "2024-01-01T00:00:00Z"},
                              {"devices", {{{"type", "modem"}, {"versions", {version}}}}}}}};
    directory.write("cache/config.json", catalogue.dump());
    return {{"chunk_size", 4},
            {"auto_detect_db_config",
             {{"cache_directory", platform::path_to_utf8(directory.path() / "cache")}}}};
  }

  // Has a new instance search `bytes`, a multiple of the chunk size, until a stop breaks
  // into the wait for more of them. A stop that comes just before the wait ends the
  // search in order and hands over what was searched: then it is all done again.
  std::int32_t search_until_stopped(const std::string& bytes) {
    const std::string last_line =
        "Cached data for locating database UID: " + std::to_string(bytes.size());
    for (;;) {
      open_line(cache());
      std::promise<void> searched;
      session.on_log = [&](const log_line& logged) {
        if (logged.text != last_line) return;
        session.on_log = nullptr;
        searched.set_value();
      };
      start_receiving();
      send(bytes);
      searched.get_future().wait();
      const std::int32_t result = stop_and_wait();
      if (session.packets.empty()) return result;
      session.release();
      forget_packets();
    }
  }

  std::string marker() const { return std::string("UID %s ") + uuid + "....."; }
};

TEST_F(serial_search_test, what_was_searched_is_one_raw_packet_and_decoded) {
  decoder.add_trace(1, database_master, build_trace({.buffer_id = "1"}, "ip packet"));
  open_line(cache());
  start_receiving();
  const std::string sent = "before" + marker();
  ASSERT_EQ(sent.size() % 4, 2U);
  send(sent + "..");
  wait_for_raw_bytes(sent.size() + 2);
  send("next");
  wait_for_raw_bytes(sent.size() + 6);
  EXPECT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.packets[0].data.substr(0, sent.size()), sent);
  EXPECT_EQ(json::parse(session.packets[0].metadata).at("modem_db_uuid"), uuid);
  EXPECT_EQ(session.decoded().at(0).data, "ip packet");
  EXPECT_EQ(session.raw_bytes(), sent + "..next");
  EXPECT_EQ(decoder.appended(), session.raw_bytes());
}

TEST_F(serial_search_test, a_stop_ends_the_search) {
  EXPECT_EQ(search_until_stopped("no marker..."), 100);
  EXPECT_EQ(session.last_error().message, "stop extracting");
  EXPECT_TRUE(session.packets.empty());
}

TEST_F(serial_search_test, goes_on_where_a_stop_ended_it) {
  const std::string first = "before" + marker().substr(0, 18);
  ASSERT_EQ(search_until_stopped(first), 100);
  start_receiving();
  const std::string second = marker().substr(18) + "..";
  send(second);
  wait_for_raw_bytes(first.size() + second.size());
  EXPECT_EQ(stop_and_wait(), 100);
  EXPECT_EQ(session.raw_bytes(), first + second);
}

// The port is open after its settings were refused, but nothing reads it, and an
// open port is not opened again: only a stop ends such a run and closes the port.
TEST_F(serial_search_test, after_refused_settings_a_second_start_waits_for_a_stop) {
  json parameters = cache();
  parameters["serialport"]["settings"]["data_bits"] = 9;
  open_line(parameters);
  ASSERT_EQ(session.start(), 100);
  session.logs.clear();
  std::promise<void> searching;
  session.on_log = [&](const log_line& logged) {
    if (logged.text == "start locating db UID from trace data") searching.set_value();
  };
  begin_start();
  searching.get_future().wait();
  EXPECT_EQ(stop_and_wait(), 100);
  EXPECT_THAT(session.log_texts(), Not(Contains("open port")));
  EXPECT_EQ(session.last_error().message, "stop extracting");
  EXPECT_EQ(session.start(), 100);
  EXPECT_THAT(session.last_error().message, testing::HasSubstr("ERR_ASSIGN_SETTINGS"));
}

// --- a modem that sends when the port is open ----------------------------------------

class uid_scan_serial_test : public test_support::auto_detect_fixture {
 protected:
  void open_port(std::size_t chunk_size) {
    offer("1.0", first_uuid);
    publish();
    open({{"serialport", {{"path", line->device()}}},
          {"chunk_size", chunk_size},
          {"auto_detect_db_config", detection()}});
    session.logs.clear();
  }

  // The modem begins to send when the port is open: opening drops what came before.
  void send_once_open(const std::string& bytes) {
    at_log("start locating db UID from trace data", [this, bytes] { send(bytes); });
  }

  // The port is open; only the news of it may still be on its way.
  void send(const std::string& bytes) {
    ASSERT_EQ(line->wait_for_reader(0ms), modem_line::outcome::done);
    ASSERT_EQ(line->write(bytes), modem_line::outcome::done);
  }

  std::unique_ptr<modem_line> line = std::make_unique<modem_line>();
};

TEST_F(uid_scan_serial_test, a_stream_names_its_database) {
  const std::string stream = varied_bytes(19) + uid_text(first_uuid) + "..";
  ASSERT_EQ(stream.size(), 64U);
  open_port(64);
  send_once_open(stream);
  session.on_packet = [this](const received_packet&) { EXPECT_EQ(session.stop(), 0); };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"stop extracting", 100}));
  EXPECT_EQ(session.raw_bytes(), stream);
  EXPECT_EQ(decoder.appended(), stream);
  EXPECT_EQ(session.logs.front(), progress("open port"));
  EXPECT_EQ(session.logs[1], progress("dekodrix not set start waiting for db uuid"));
}

TEST_F(uid_scan_serial_test, a_stop_before_a_read_hands_over_what_was_searched) {
  open_port(16);
  session.on_log = [this](const test_support::log_line& logged) {
    if (logged.text == "start locating db UID from trace data") send(varied_bytes(16));
    if (logged.text != "Cached data for locating database UID: 16") return;
    session.on_log = nullptr;
    EXPECT_EQ(session.stop(), 0);
  };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"stop extracting", 100}));
  EXPECT_EQ(session.raw_bytes(), varied_bytes(16));
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(uid_scan_serial_test, a_stop_wakes_the_search_from_its_wait) {
  open_port(16);
  std::thread host;
  session.on_log = [this, &host](const test_support::log_line& logged) {
    if (logged.text == "start locating db UID from trace data") send(varied_bytes(16));
    if (logged.text != "Cached data for locating database UID: 16") return;
    session.on_log = nullptr;
    host = std::thread([this] { EXPECT_EQ(session.stop(), 0); });
  };
  EXPECT_EQ(session.start(), 100);
  host.join();
  EXPECT_EQ(session.last_error(), (reported_error{"stop extracting", 100}));
  // A stop that comes just before the read ends the search in order.
  EXPECT_THAT(session.raw_bytes(), testing::AnyOf("", varied_bytes(16)));
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(uid_scan_serial_test, a_modem_that_disappears_is_a_serial_error_and_no_end_of_file) {
  open_port(16);
  at_log("start locating db UID from trace data", [this] { line.reset(); });
  EXPECT_EQ(session.start(), 100);
  EXPECT_THAT(session.last_error().message, testing::Not(HasSubstr("End of file")));
  EXPECT_THAT(session.last_error().message, testing::Not(IsEmpty()));
  EXPECT_THAT(session.packets, IsEmpty());
}

}  // namespace
