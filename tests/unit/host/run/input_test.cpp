#include "host/run/input.h"

#include <gmock/gmock.h>

#include <string>

#include "platform/file.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using kovax::json;
using testing::HasSubstr;
using testing::StartsWith;

json port_parameters(const line_options& line) {
  return serial_input(line).parameters().at("serialport");
}

TEST(file_input, its_path_reaches_the_plug_in_and_is_taken_literally) {
  EXPECT_EQ(file_input("trace.bin").parameters(),
            (json{{"file_path", "trace.bin"}, {"log_statistics", true}}));
  EXPECT_EQ(file_input("${env:HOME}").parameters(),
            (json{{"file_path", "./${env:HOME}"}, {"log_statistics", true}}));
}

TEST(file_input, has_an_end_and_no_failures_of_its_own) {
  const file_input input("trace.bin");
  EXPECT_EQ(input.name(), "trace.bin");
  EXPECT_FALSE(input.is_live());
  EXPECT_FALSE(input.explain_failure({100, "port closed"}, ""));
}

TEST(serial_input, the_defaults_are_those_of_a_modems_trace_port) {
  EXPECT_EQ(port_parameters({.port = "/dev/ttyUSB0"}), json::parse(R"({"path": "/dev/ttyUSB0",
                            "settings": {"baud_rate": 1000000, "data_bits": 8, "stop_bits": 1.0,
                                         "parity": "none", "flow_control": "none"}})"));
}

// The others are in command_line_test.cpp.
TEST(serial_input, two_stop_bits_are_a_number) {
  EXPECT_EQ(port_parameters({.port = "x", .stop_bits = "2"})["settings"]["stop_bits"], 2);
}

TEST(serial_input, a_port_whose_name_looks_like_a_variable_is_taken_literally) {
  EXPECT_EQ(port_parameters({.port = "${env:HOME}"})["path"], "./${env:HOME}");
}

// What arrived is in the raw trace whatever the decoding makes of it.
TEST(serial_input, asks_for_raw_packets_that_outlive_the_decoding) {
  EXPECT_EQ(serial_input({.port = "x"}).parameters().at("recording"), true);
  EXPECT_TRUE(serial_input({.port = "x"}).is_live());
}

TEST(serial_input, a_failure_of_the_port_is_explained) {
  const serial_input input({.port = "tty"});
  const auto error = input.explain_failure({100, "port closed"}, "; all is kept");
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), StartsWith("tty was lost (port closed); all is kept."));
  EXPECT_FALSE(input.explain_failure({100, "something else"}, ""));
}

TEST(serial_input, says_why_nothing_may_have_come) {
  const serial_input input({.port = "tty"});
  const auto reason = [&](const run_statistics& statistics, const database_options& database) {
    const user_error error = input.explain_nothing(statistics, database);
    EXPECT_EQ(error.code(), exit_code::nothing_decoded);
    return std::string(error.what());
  };
  database_options database;
  database.cache = "cache";
  run_statistics statistics;
  EXPECT_EQ(reason(statistics, database),
            "nothing arrived on tty; no capture was written. Check the port, its baud rate and "
            "that the modem's trace is enabled.");
  statistics.add(raw_packet("12345"));
  EXPECT_EQ(reason(statistics, database),
            "5 B received on tty contain no database UUID; no capture was written. Start the "
            "capture before the modem, or name the database with --database; a raw trace (--raw) "
            "can be decoded later.");
  database.cache = {};
  database.file = "d.json";
  EXPECT_THAT(reason(statistics, database),
              StartsWith("not one packet came out of 5 B received on tty; no capture was"));
  statistics.add(packet_of("at", "Dropped traces count: 1", R"({"modem_db_uuid":"u-1"})"));
  EXPECT_THAT(reason(statistics, database),
              StartsWith("only reports of 1 dropped trace came out of 5 B received on tty;"));
}

TEST(default_capture_name, is_made_of_port_and_time) {
  const auto name = [](const char* port, const char* extension = "pcapng") {
    return default_capture_name(port, 1706702400, extension);  // 2024-01-31 12:00:00 UTC
  };
  EXPECT_EQ(name("/dev/ttyUSB0"), "capture-ttyUSB0-20240131T120000Z.pcapng");
  EXPECT_EQ(name("/dev/pts/3", "jsonl"), "capture-pts-3-20240131T120000Z.jsonl");
  EXPECT_EQ(name("\\\\.\\COM12"), "capture-COM12-20240131T120000Z.pcapng");
  EXPECT_EQ(name("../a b"), "capture-a-b-20240131T120000Z.pcapng");
  EXPECT_EQ(name("/"), "capture-port-20240131T120000Z.pcapng");
}

TEST(name_without_file, counts_on_from_a_name_that_is_taken) {
  const test_support::temp_directory directory;
  const auto in_directory = [&](const char* name) {
    return platform::path_to_utf8(directory.path() / name);
  };
  const std::string name = in_directory("capture-x.y-1Z.pcapng");
  EXPECT_EQ(name_without_file(name), name);
  directory.write("capture-x.y-1Z.pcapng", "the first");
  EXPECT_EQ(name_without_file(name), in_directory("capture-x.y-1Z-2.pcapng"));
  directory.write("capture-x.y-1Z-2.pcapng", "the second");
  EXPECT_EQ(name_without_file(name), in_directory("capture-x.y-1Z-3.pcapng"));
}

}  // namespace
}  // namespace veltra::host
