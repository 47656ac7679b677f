// The search for the database in a stream that comes from a serial port.
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "tests/abi/auto_detect_fixture.h"
#include "tests/support/modem_line.h"

namespace {

using namespace std::chrono_literals;
using test_support::first_uuid;
using test_support::modem_line;
using test_support::received_packet;
using test_support::reported_error;
using test_support::uid_text;
using test_support::varied_bytes;
using testing::HasSubstr;
using testing::IsEmpty;

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
  session.on_log = [this](const test_support::log_line& told) {
    if (told.text == "start locating db UID from trace data") send(varied_bytes(16));
    if (told.text != "Cached data for locating database UID: 16") return;
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
  session.on_log = [this, &host](const test_support::log_line& told) {
    if (told.text == "start locating db UID from trace data") send(varied_bytes(16));
    if (told.text != "Cached data for locating database UID: 16") return;
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
