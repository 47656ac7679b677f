#include "host/output/jsonl_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

packet with_payload(std::string_view layer, std::string_view payload) {
  return {.sequence = 7,
          .time = 1500,
          .layer = layer,
          .category = "network",
          .metadata = R"({"data_offset":3})",
          .payload = {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()}};
}

// The lines that come of the packets.
std::vector<std::string> lines_of(const std::vector<packet>& packets, bool with_raw = false) {
  test_support::temp_directory directory;
  output_file file(directory.path() / "out", output_file::access::sequential);
  jsonl_writer writer(file, with_raw);
  for (const packet& each : packets) writer.consume(each);
  writer.finish();
  EXPECT_THAT(writer.remarks(), IsEmpty());
  file.commit();
  std::vector<std::string> lines;
  std::istringstream text(content(directory.path() / "out"));
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

TEST(jsonl_writer, a_packet_is_one_object_on_one_line) {
  EXPECT_THAT(lines_of({with_payload("ip", std::string_view("E\0\xff\n", 4))}),
              ElementsAre(R"({"sequence":7,"time":1500,"layer":"ip","category":"network",)"
                          R"("payload":"4500ff0a","metadata":{"data_offset":3}})"));
}

TEST(jsonl_writer, the_largest_numbers_are_kept) {
  packet largest = with_payload("ip", "");
  largest.sequence = largest.time = ~std::uint64_t{0};
  const auto lines = lines_of({largest});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("time").get<std::uint64_t>(), ~std::uint64_t{0});
}

TEST(jsonl_writer, an_empty_payload_is_an_empty_text) {
  const auto lines = lines_of({with_payload("ip", "")});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("payload"), "");
}

TEST(jsonl_writer, names_are_escaped) {
  const std::string name = "a\"b\\c\n\x01\xc3\xa4";
  const auto lines = lines_of({with_payload(name, ""), with_payload(name, "")});
  ASSERT_EQ(lines.size(), 2U);
  for (const std::string& line : lines) EXPECT_EQ(kovax::json::parse(line).at("layer"), name);
}

TEST(jsonl_writer, bytes_that_are_not_utf_8_show_as_replacement_characters) {
  const auto lines = lines_of({with_payload("a\xff\xc3z", "")});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("layer"), "a\xef\xbf\xbd\xef\xbf\xbdz");
}

TEST(jsonl_writer, missing_metadata_are_an_empty_object) {
  packet without = with_payload("ip", "");
  without.metadata = {};
  const auto lines = lines_of({without});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kovax::json::parse(lines[0]).at("metadata"), kovax::json::object());
}

TEST(jsonl_writer, raw_packets_come_only_when_they_are_wanted) {
  const std::vector<packet> packets = {with_payload("modem_trace", "raw"), with_payload("ip", "E")};
  const auto without = lines_of(packets);
  ASSERT_EQ(without.size(), 1U);
  EXPECT_EQ(kovax::json::parse(without[0]).at("layer"), "ip");
  const auto with = lines_of(packets, true);
  ASSERT_EQ(with.size(), 2U);
  EXPECT_EQ(kovax::json::parse(with[0]).at("payload"), "726177");
}

}  // namespace
}  // namespace veltra::host
