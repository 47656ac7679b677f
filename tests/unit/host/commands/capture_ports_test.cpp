#include "host/commands/capture_ports.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "host/user_error.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;

capture_options of_ports(std::vector<std::string> ports) {
  capture_options options;
  options.ports = std::move(ports);
  options.run.output.file = "out/lab.pcapng";
  options.raw = "lab.trace";
  options.status_file = "lab.json";
  options.metrics_file = "lab.prom";
  return options;
}

TEST(capture_ports, one_port_has_the_files_as_they_were_named) {
  const auto captures = split_by_port(of_ports({"/dev/ttyUSB0"}), {});
  ASSERT_EQ(captures.size(), 1U);
  EXPECT_EQ(captures[0].line.port, "/dev/ttyUSB0");
  EXPECT_EQ(captures[0].run.output.file, "out/lab.pcapng");
  EXPECT_EQ(captures[0].raw, "lab.trace");
}

TEST(capture_ports, several_ports_have_files_of_their_own) {
  const auto captures = split_by_port(of_ports({"/dev/ttyUSB0", "line"}), {});
  ASSERT_EQ(captures.size(), 2U);
  EXPECT_EQ(captures[0].run.output.file, "out/lab-ttyUSB0.pcapng");
  EXPECT_EQ(captures[0].raw, "lab-ttyUSB0.trace");
  EXPECT_EQ(captures[0].status_file, "lab-ttyUSB0.json");
  EXPECT_EQ(captures[0].metrics_file, "lab-ttyUSB0.prom");
  EXPECT_EQ(captures[1].line.port, "line");
  EXPECT_EQ(captures[1].raw, "lab-line.trace");
}

TEST(capture_ports, names_that_have_defaults_stay_empty) {
  capture_options options;
  options.ports = {"a", "b"};
  options.raw = "";
  const auto captures = split_by_port(options, {});
  EXPECT_EQ(captures[1].raw, "");
  EXPECT_EQ(captures[1].run.output.file, "");
}

// A script that uses --all finds the same names however many ports there are.
TEST(capture_ports, all_are_those_of_the_machine_with_the_port_in_every_name) {
  capture_options options = of_ports({});
  options.all_ports = true;
  const auto captures = split_by_port(options, {"/dev/ttyS0"});
  ASSERT_EQ(captures.size(), 1U);
  EXPECT_EQ(captures[0].line.port, "/dev/ttyS0");
  EXPECT_EQ(captures[0].raw, "lab-ttyS0.trace");
  EXPECT_THAT(refusal_of([&] { split_by_port(options, {}); }, exit_code::bad_input),
              HasSubstr("there is no serial port"));
}

TEST(capture_ports, what_several_ports_cannot_share_is_refused) {
  const auto refused = [](const capture_options& options) {
    return refusal_of([&] { split_by_port(options, {}); }, exit_code::usage);
  };
  EXPECT_THAT(refused(of_ports({"a", "b", "a"})), HasSubstr("would have the same names"));
  capture_options stream = of_ports({"a", "b"});
  stream.raw = "-";
  EXPECT_THAT(refused(stream), HasSubstr("standard output cannot be"));
  capture_options window = of_ports({"a", "b"});
  window.wireshark = true;
  EXPECT_THAT(refused(window), HasSubstr("--wireshark"));
}

}  // namespace
}  // namespace veltra::host
