#include <gmock/gmock.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "host/run/line_options.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace {

using kovax::json;
using veltra::host::default_capture_name;
using veltra::host::line_options;
using veltra::host::name_without_file;
using veltra::host::serial_parameters;

line_options parse(std::vector<std::string> arguments) {
  CLI::App app;
  line_options options;
  veltra::host::add_line_options(app, options);
  std::reverse(arguments.begin(), arguments.end());
  app.parse(arguments);
  return options;
}

TEST(line_options, the_defaults_are_those_of_a_modems_trace_port) {
  EXPECT_EQ(serial_parameters(parse({"--port", "/dev/ttyUSB0"})),
            json::parse(R"({"path": "/dev/ttyUSB0",
                            "settings": {"baud_rate": 1000000, "data_bits": 8, "stop_bits": 1.0,
                                         "parity": "none", "flow_control": "none"}})"));
}

TEST(line_options, every_setting_reaches_the_plug_in) {
  const line_options options =
      parse({"-p", "COM3", "--baud-rate", "921600", "--data-bits", "7", "--stop-bits", "1.5",
             "--parity", "even", "--flow-control", "hw"});
  EXPECT_EQ(serial_parameters(options), json::parse(R"({"path": "COM3",
                            "settings": {"baud_rate": 921600, "data_bits": 7, "stop_bits": 1.5,
                                         "parity": "even", "flow_control": "hw"}})"));
  EXPECT_EQ(serial_parameters(parse({"-p", "x", "--stop-bits", "2"}))["settings"]["stop_bits"], 2);
}

TEST(line_options, a_port_is_required) {
  EXPECT_THROW(parse({}), CLI::RequiredError);
}

TEST(line_options, values_that_no_line_has_are_refused) {
  const std::vector<std::vector<std::string>> refused = {
      {"--baud-rate", "0"}, {"--baud-rate", "-1"}, {"--baud-rate", "4294967296"},
      {"--data-bits", "4"}, {"--data-bits", "9"},  {"--stop-bits", "3"},
      {"--parity", "mark"}, {"--parity", "ODD"},   {"--flow-control", "rtscts"}};
  for (const auto& option : refused) {
    EXPECT_THROW(parse({"--port", "x", option[0], option[1]}), CLI::ParseError)
        << option[0] << " " << option[1];
  }
}

TEST(line_options, a_port_whose_name_looks_like_a_variable_is_taken_literally) {
  EXPECT_EQ(serial_parameters({.port = "${env:HOME}"})["path"], "./${env:HOME}");
}

TEST(line_options, a_capture_is_named_after_its_port_and_time) {
  constexpr std::int64_t time = 1706702400;  // 2024-01-31 12:00:00 UTC
  EXPECT_EQ(default_capture_name({.port = "/dev/ttyUSB0"}, time, "pcapng"),
            "capture-ttyUSB0-20240131T120000Z.pcapng");
  EXPECT_EQ(default_capture_name({.port = "/dev/pts/3"}, time, "jsonl"),
            "capture-pts-3-20240131T120000Z.jsonl");
  EXPECT_EQ(default_capture_name({.port = "\\\\.\\COM12"}, time, "pcapng"),
            "capture-COM12-20240131T120000Z.pcapng");
  EXPECT_EQ(default_capture_name({.port = "../a b"}, time, "pcapng"),
            "capture-a-b-20240131T120000Z.pcapng");
  EXPECT_EQ(default_capture_name({.port = "/"}, time, "pcapng"),
            "capture-port-20240131T120000Z.pcapng");
}

TEST(line_options, a_name_that_is_taken_is_counted_on) {
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
