// The search for the database UUID in what a serial port receives.
#include <future>
#include <string>

#include "platform/file.h"
#include "plugin/database/digest.h"
#include "tests/abi/serial_fixture.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::log_line;
using test_support::received_packet;
using testing::Contains;
using testing::Not;

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

}  // namespace
