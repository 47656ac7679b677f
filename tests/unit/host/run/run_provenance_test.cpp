#include "host/run/run_provenance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/host/run/run_fixture.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Field;
using testing::HasSubstr;
using testing::StartsWith;

class run_provenance_test : public run_test {
 protected:
  static auto says(const char* name, const auto& text) {
    return AllOf(Field(&fact::name, name), Field(&fact::text, text));
  }

  void decodable() { script({{"steps", {raw_step, packet_step("ip", "E")}}}); }
};

TEST_F(run_provenance_test, a_decoded_capture_names_trace_program_and_options) {
  decodable();
  decode({"--raw-packets", "-o", name_of("out.pcapng")});
  const auto size = std::filesystem::file_size(at("trace.bin"));
  EXPECT_THAT(
      read_provenance(at("out.pcapng")),
      ElementsAre(says("trace", name_of("trace.bin")),
                  says("trace size", std::to_string(size) + " bytes"),
                  says("plug-in", AllOf(StartsWith(options_.plugin), EndsWith("version 0.0.0"))),
                  says("options", "--time-base modem --chunk-size 65536 --raw-packets"),
                  says("database", "d, UUID u-1")));
}

TEST_F(run_provenance_test, a_live_capture_names_port_and_line) {
  decodable();
  veltra({"capture", "--port", name_of("trace.bin"), "-d", "database.json", "--plugin",
          options_.plugin, "-o", name_of("out.pcapng")});
  EXPECT_THAT(
      read_provenance(at("out.pcapng")),
      AllOf(Contains(says("port", name_of("trace.bin"))),
            Contains(says(
                "line", "1000000 baud, 8 data bits, 1 stop bits, parity none, flow control none")),
            Contains(says("options", "--time-base host --chunk-size 1"))));
}

TEST_F(run_provenance_test, an_earlier_capture_of_the_same_trace_is_replaced) {
  decodable();
  EXPECT_EQ(decode(), exit_code::ok);
  EXPECT_EQ(decode({"--time-base", "2024-05-01T12:00:00Z"}), exit_code::ok);
  EXPECT_EQ(captured("trace.pcapng").at(0).time_offset, 1'714'564'800);
}

TEST_F(run_provenance_test, a_file_that_may_come_from_another_trace_is_not_replaced) {
  decodable();
  for (const char* other : {"", "something else"}) {
    directory_.write("trace.pcapng", other);
    EXPECT_THAT(refusal_of([&] { decode(); }, exit_code::usage),
                HasSubstr("trace.pcapng exists and may come from another trace"));
    EXPECT_EQ(content(at("trace.pcapng")), other);
  }
  directory_.write("sub/trace.bin", "{}");
  pcapng_sink capture(at("trace.pcapng"), {});
  capture.set_provenance(provenance_of_trace(at("sub") / "trace.bin"));
  capture.begin();
  capture.finish();
  refusal_of([&] { decode(); }, exit_code::usage);
  EXPECT_EQ(decode({"--overwrite"}), exit_code::ok);
}

TEST_F(run_provenance_test, json_lines_say_nothing_and_are_not_replaced) {
  decodable();
  EXPECT_EQ(decode({"-f", "jsonl"}), exit_code::ok);
  refusal_of([&] { decode({"-f", "jsonl"}); }, exit_code::usage);
}

}  // namespace
}  // namespace veltra::host
