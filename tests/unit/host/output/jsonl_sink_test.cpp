#include "host/output/jsonl_sink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;

// The lines that come of what `write` gives to a sink.
std::vector<std::string> lines_of(const std::function<void(sink&)>& write,
                                  packet_selection selection = {}) {
  test_support::temp_directory directory;
  jsonl_sink sink(directory.path() / "out", selection);
  EXPECT_TRUE(sink.wants_metadata());
  EXPECT_EQ(sink.wants_raw_bytes(), selection.has(packet_kind::raw));
  sink.begin();
  write(sink);
  EXPECT_FALSE(sink.flush());
  sink.finish();
  EXPECT_EQ(sink.remarks().empty(), selection.has(packet_kind::rrc));
  std::vector<std::string> lines;
  std::istringstream text(content(directory.path() / "out"));
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> lines_of(const std::vector<packet>& packets,
                                  packet_selection selection = {}) {
  const auto write_all = [&](sink& to) {
    for (const packet& each : packets) to.write(each);
  };
  return lines_of(write_all, selection);
}

TEST(jsonl_sink, a_packet_is_one_object_on_one_line) {
  packet numbered = packet_of("ip", std::string_view("E\0\xff\n", 4), R"({"data_offset":3})", 1500);
  numbered.sequence = 7;
  EXPECT_THAT(lines_of({numbered}),
              ElementsAre(R"({"sequence":7,"time":1500,"layer":"ip","category":"network",)"
                          R"("payload":"4500ff0a","metadata":{"data_offset":3}})"));
}

TEST(jsonl_sink, the_largest_numbers_are_kept) {
  packet largest = packet_of("ip", "");
  largest.sequence = largest.time = ~std::uint64_t{0};
  const auto lines = lines_of({largest});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("time").get<std::uint64_t>(), ~std::uint64_t{0});
}

TEST(jsonl_sink, an_empty_payload_is_an_empty_text) {
  const auto lines = lines_of({packet_of("ip", "")});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("payload"), "");
}

TEST(jsonl_sink, names_are_escaped) {
  const std::string name = "a\"b\\c\n\x01\xc3\xa4";
  const auto lines = lines_of({packet_of(name, ""), packet_of(name, "")});
  ASSERT_EQ(lines.size(), 2U);
  for (const std::string& line : lines) EXPECT_EQ(kovax::json::parse(line).at("layer"), name);
}

TEST(jsonl_sink, bytes_that_are_not_utf_8_show_as_replacement_characters) {
  const auto lines = lines_of({packet_of("a\xff\xc3z", "")});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("layer"), "a\xef\xbf\xbd\xef\xbf\xbdz");
}

TEST(jsonl_sink, missing_metadata_are_an_empty_object) {
  packet without = packet_of("ip", "");
  without.metadata = {};
  const auto lines = lines_of({without});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("metadata"), kovax::json::object());
}

TEST(jsonl_sink, a_message_has_its_direction_where_its_layer_or_type_shows_it) {
  const auto lines = lines_of({packet_of("lte_rrc.ul_dcch", "U"), packet_of("lte_rrc.pcch", "P"),
                               packet_of("nas-eps", "\x07\x41"), packet_of("nas-eps", "\x07\x45"),
                               packet_of("ip", "E"), packet_of("unheard_of", "x")});
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("direction"), "sent");
  EXPECT_EQ(kovax::json::parse(lines[1]).at("direction"), "received");
  EXPECT_EQ(kovax::json::parse(lines[2]).at("direction"), "sent");
  for (const std::size_t unknown : {3U, 4U, 5U}) {
    EXPECT_THAT(lines[unknown], testing::EndsWith(R"(,"metadata":{}})"));
  }
}

TEST(jsonl_sink, an_at_text_is_beside_its_bytes) {
  const auto lines = lines_of({packet_of("at", "AT+CGMI\r\n"), packet_of("at", "\"\xff\r\n")});
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_THAT(lines[0],
              testing::EndsWith(R"("payload":"41542b43474d490d0a","metadata":{},)"
                                R"("direction":"sent","kind":"at","text":"AT+CGMI\r\n"})"));
  EXPECT_EQ(kovax::json::parse(lines[1]).at("direction"), "received");
  EXPECT_EQ(kovax::json::parse(lines[1]).at("text"), "\"\xef\xbf\xbd\r\n");
}

TEST(jsonl_sink, a_report_of_losses_has_its_count) {
  const auto lines = lines_of({packet_of("at", "Dropped traces count: 7")});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0], testing::EndsWith(R"(,"metadata":{},"kind":"dropped","count":7})"));
}

TEST(jsonl_sink, metadata_come_as_often_as_they_are_wanted) {
  const char* const database = R"("modem_db_uuid":"u-1"})";
  const char* const other = R"("modem_db_uuid":"u-2"})";
  const std::vector<std::string> metadata = {R"({"data_offset":1})", R"({"data_offset":2})",
                                             R"({"data_offset":2,)" + std::string(database),
                                             R"({"data_offset":9,)" + std::string(database),
                                             R"({"data_offset":9,)" + std::string(other)};
  const auto with_metadata = [&](metadata_use use) {
    test_support::temp_directory directory;
    jsonl_sink sink(directory.path() / "out", {}, use);
    EXPECT_EQ(sink.wants_metadata(), use != metadata_use::none);
    sink.begin();
    for (const std::string& each : metadata) sink.write(packet_of("ip", "E", each));
    sink.finish();
    std::vector<bool> are_there;
    std::istringstream text(content(directory.path() / "out"));
    for (std::string line; std::getline(text, line);) {
      are_there.push_back(kovax::json::parse(line).contains("metadata"));
    }
    return are_there;
  };
  EXPECT_THAT(with_metadata(metadata_use::each), ElementsAre(true, true, true, true, true));
  EXPECT_THAT(with_metadata(metadata_use::once), ElementsAre(true, false, true, false, true));
  EXPECT_THAT(with_metadata(metadata_use::none), ElementsAre(false, false, false, false, false));
}

TEST(jsonl_sink, a_gap_is_a_line_of_its_own) {
  const auto lines = lines_of([](sink& to) {
    to.write(packet_of("ip", ""));
    to.mark_missed(12);
    to.write(packet_of("ip", ""));
  });
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], R"({"kind":"missed","count":12})");
}

TEST(jsonl_sink, raw_packets_come_only_when_they_are_wanted) {
  const std::vector<packet> packets = {packet_of("modem_trace", "raw"), packet_of("ip", "E")};
  const auto without = lines_of(packets);
  ASSERT_EQ(without.size(), 1U);
  EXPECT_EQ(kovax::json::parse(without[0]).at("layer"), "ip");
  const auto with = lines_of(packets, with_raw_packets());
  ASSERT_EQ(with.size(), 2U);
  EXPECT_EQ(kovax::json::parse(with[0]).at("payload"), "726177");
}

TEST(jsonl_sink, layers_that_are_not_selected_leave_their_losses) {
  packet_selection only_nas{.kinds = packet_selection::bit(packet_kind::nas)};
  const auto lines = lines_of({packet_of("ip", "E"), packet_of("at", "Dropped traces count: 7"),
                               packet_of("nas-eps", "N"), packet_of("session_master", "M")},
                              only_nas);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], R"({"kind":"dropped","count":7})");
  EXPECT_EQ(kovax::json::parse(lines[1]).at("layer"), "nas-eps");
}

TEST(jsonl_sink, key_material_can_be_left_out) {
  const auto lines = lines_of({packet_of("handshake_randbytes", "R"), packet_of("ip", "E"),
                               packet_of("session_master", "M")},
                              {.with_secrets = false});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("layer"), "ip");
}

}  // namespace
}  // namespace veltra::host
