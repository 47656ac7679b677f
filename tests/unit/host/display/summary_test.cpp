#include "host/display/summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(run_statistics, raw_bytes_decoded_packets_and_losses_are_counted) {
  run_statistics statistics;
  statistics.add(packet_of("modem_trace", "12345"));
  statistics.add(packet_of("at", "OK"));
  statistics.add(packet_of("at", "Dropped traces count: 3"));
  statistics.add(packet_of("ip", "E"));
  statistics.add(packet_of("modem_trace", "678"));
  EXPECT_EQ(statistics.raw_bytes(), 8U);
  EXPECT_EQ(statistics.decoded_packets(), 3U);
  EXPECT_EQ(statistics.dropped_traces(), 3U);
  EXPECT_THAT(statistics.packets_by_layer(),
              testing::ElementsAre(testing::Pair("at", 2U), testing::Pair("ip", 1U)));
}

// Out of noise a decoder makes nothing but losses.
TEST(run_statistics, losses_are_no_content) {
  run_statistics statistics;
  EXPECT_FALSE(statistics.has_content());
  statistics.add(packet_of("modem_trace", "12345"));
  statistics.add(packet_of("at", "Dropped traces count: 3"));
  statistics.add(packet_of("at", "Dropped traces count: 0"));
  EXPECT_FALSE(statistics.has_content());
  statistics.add(packet_of("at", "Dropped traces"));
  EXPECT_TRUE(statistics.has_content());
}

TEST(run_statistics, the_decoders_counters_are_taken_and_other_texts_ignored) {
  run_statistics statistics;
  statistics.take_decoder_counts(R"({"frames_damaged":2,"bytes_of_unfinished_frame":57})");
  EXPECT_EQ(statistics.damaged_frames(), 2U);
  EXPECT_EQ(statistics.unfinished_bytes(), 57U);
  for (const char* text : {"", "{", "[]", "{}", R"({"frames_damaged":"2"})", "\xff"}) {
    statistics.take_decoder_counts(text);
    EXPECT_EQ(statistics.damaged_frames(), 0U) << text;
    EXPECT_EQ(statistics.unfinished_bytes(), 0U) << text;
  }
}

TEST(summary, says_that_the_trace_ends_inside_a_frame_unless_it_was_interrupted) {
  run_statistics statistics;
  statistics.take_decoder_counts(R"({"frames_damaged":2,"bytes_of_unfinished_frame":57})");
  const std::string cut = "  end of the trace      inside a frame, after 57 bytes of it\n";
  const std::string text = format_summary(statistics, {});
  EXPECT_THAT(text, HasSubstr(cut));
  EXPECT_THAT(text, HasSubstr("  damaged frames                2\n"));
  EXPECT_THAT(
      format_summary(statistics, {.output = {}, .elapsed = {}, .interrupted = true, .remarks = {}}),
      Not(HasSubstr(cut)));
  EXPECT_THAT(format_summary(run_statistics(), {}), Not(HasSubstr("frame")));
}

TEST(run_statistics, the_database_is_that_of_the_latest_packet) {
  run_statistics statistics;
  EXPECT_EQ(statistics.database_uuid(), "");
  statistics.add(packet_of("modem_trace", "", R"({"modem_db_path":"","modem_db_uuid":""})"));
  EXPECT_EQ(statistics.database_uuid(), "");
  statistics.add(packet_of("ip", "", R"({"modem_db_path":"/d","modem_db_uuid":"u-1"})"));
  EXPECT_EQ(statistics.database_uuid(), "u-1");
  EXPECT_EQ(statistics.database_path(), "/d");
}

TEST(run_statistics, metadata_that_are_none_name_no_database) {
  for (const char* metadata : {"", "{", "[]", "null", R"({"modem_db_uuid":5})", "\xff"}) {
    run_statistics statistics;
    statistics.add(packet_of("ip", "", metadata));
    EXPECT_EQ(statistics.database_uuid(), "") << metadata;
  }
}

TEST(summary, bytes_have_the_unit_that_suits_them) {
  EXPECT_EQ(format_bytes(0), "0 B");
  EXPECT_EQ(format_bytes(999), "999 B");
  EXPECT_EQ(format_bytes(1000), "1.0 kB");
  EXPECT_EQ(format_bytes(1549), "1.5 kB");
  EXPECT_EQ(format_bytes(999'949), "999.9 kB");
  EXPECT_EQ(format_bytes(999'950), "1.0 MB");
  EXPECT_EQ(format_bytes(12'345'678), "12.3 MB");
  EXPECT_EQ(format_bytes(5e12), "5.0 TB");
  EXPECT_EQ(format_bytes(5e16), "50000.0 TB");
}

// Rounded up to 1000 of the smaller unit, it is 1 of the larger.
TEST(summary, a_fraction_below_the_next_unit_is_not_printed_as_1000) {
  EXPECT_EQ(format_bytes(999.7), "1.0 kB");
}

TEST(summary, the_lines_of_a_run) {
  run_statistics statistics;
  statistics.add(packet_of("modem_trace", std::string(2'500'000, 'x')));
  statistics.add(packet_of("lte_rrc.dl_dcch", "d", R"({"modem_db_uuid":"u-1"})"));
  statistics.add(packet_of("at", "Dropped traces count: 12"));
  EXPECT_EQ(
      format_summary(statistics,
                     {.output = "out.pcapng", .packets = 2, .elapsed = std::chrono::seconds(2)}),
      "out.pcapng: 2 packets from 2.5 MB of trace\n"
      "  at                            1\n"
      "  lte_rrc.dl_dcch               1\n"
      "  dropped traces               12\n"
      "  database UUID         u-1\n"
      "  time                  2.00 s, 1.2 MB/s\n");
}

TEST(summary, one_packet_is_no_packets) {
  run_statistics statistics;
  statistics.add(packet_of("ip", "E"));
  EXPECT_THAT(format_summary(statistics, {.output = "o", .packets = 1}),
              StartsWith("o: 1 packet from 0 B"));
}

packet key_packet() {
  packet key = packet_of("session_master", "key");
  key.category = "tls";
  return key;
}

TEST(summary, key_material_is_counted_apart_if_a_capture_has_no_packet_for_it) {
  run_statistics statistics;
  statistics.add(packet_of("ip", "E"));
  statistics.add(key_packet());
  summary_facts facts = {.output = "o", .packets = 1};
  EXPECT_THAT(format_summary(statistics, facts), StartsWith("o: 1 packet from 0 B"));
  facts.has_keys = true;
  EXPECT_THAT(format_summary(statistics, facts), StartsWith("o: 1 packet, 1 TLS key from 0 B"));
  statistics.add(key_packet());
  EXPECT_THAT(format_summary(statistics, facts), StartsWith("o: 1 packet, 2 TLS keys from 0 B"));
}

TEST(summary, the_database_that_the_trace_names_has_a_line_if_it_is_another_one) {
  run_statistics statistics;
  statistics.add(packet_of("ip", "E", R"({"modem_db_uuid":"u-1"})"));
  EXPECT_THAT(format_summary(statistics, {.output = "o"}), Not(HasSubstr("trace's database")));
  EXPECT_THAT(format_summary(statistics, {.output = "o", .stream_uuid = "u-1"}),
              Not(HasSubstr("trace's database")));
  EXPECT_THAT(format_summary(statistics, {.output = "o", .stream_uuid = "u-2"}),
              HasSubstr("\n  trace's database      u-2\n"));
  EXPECT_THAT(format_summary(statistics, {.output = "o", .stream_uuid = ""}),
              HasSubstr("\n  trace's database      not named in the trace\n"));
}

TEST(summary, a_name_controls_no_terminal) {
  EXPECT_THAT(format_summary({}, {.output = "o\x1b"}), StartsWith("o?: "));
}

TEST(summary, an_interrupted_run_says_so) {
  EXPECT_THAT(format_summary({}, {.output = "o", .interrupted = true}),
              HasSubstr("of trace, interrupted before its end\n"));
}

TEST(summary, without_a_database_there_is_none) {
  EXPECT_THAT(format_summary({}, {.output = "o"}), HasSubstr("  database UUID         none\n"));
}

TEST(summary, remarks_have_a_line_only_if_there_are_some) {
  EXPECT_THAT(format_summary({}, {.output = "o"}), Not(HasSubstr("remarks")));
  EXPECT_THAT(format_summary({}, {.output = "o", .remarks = "2 packets cut"}),
              HasSubstr("\n  remarks               2 packets cut\n"));
}

TEST(summary, no_time_at_all_is_no_division_by_zero) {
  run_statistics statistics;
  statistics.add(packet_of("modem_trace", "x"));
  EXPECT_THAT(format_summary(statistics, {.output = "o"}), HasSubstr("0.00 s, 1.0 MB/s"));
}

}  // namespace
}  // namespace veltra::host
