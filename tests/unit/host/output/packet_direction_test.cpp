// Directions in a capture: the packets' flags and the tag of exported PDUs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/output/exported_pdu.h"
#include "host/output/pcapng_sink.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using namespace std::string_literals;

constexpr std::uint32_t inbound = 1;
constexpr std::uint32_t outbound = 2;

std::vector<captured_packet> captured(std::string_view layer,
                                      const std::vector<std::string>& messages) {
  const test_support::temp_directory directory;
  const std::filesystem::path path = directory.path() / "out.pcapng";
  pcapng_sink sink(path, {});
  sink.begin();
  for (const std::string& message : messages) sink.write(packet_of(layer, message));
  sink.finish();
  return read_packets(content(path));
}

TEST(packet_direction, a_nas_message_has_that_of_its_type) {
  const std::vector<std::string> messages = {"\x07\x41"s, "\x07\x55"s, "\x07\x45"s,
                                             "\x27\x01\x02\x03\x04\x05\x07\x41"s};
  const auto packets = captured("nas-eps", messages);
  ASSERT_EQ(packets.size(), 4U);
  EXPECT_EQ(packets[0].flags, outbound);
  EXPECT_EQ(packets[0].data, exported_pdu_header("nas-eps", direction::sent) + messages[0]);
  EXPECT_EQ(packets[1].flags, inbound);
  EXPECT_EQ(packets[1].data, exported_pdu_header("nas-eps", direction::received) + messages[1]);
  for (const std::size_t unknown : {2U, 3U}) {
    EXPECT_EQ(packets[unknown].flags, 0U);
    EXPECT_EQ(packets[unknown].data,
              exported_pdu_header("nas-eps", direction::unknown) + messages[unknown]);
  }
}

TEST(packet_direction, an_at_text_has_it_in_its_flags_and_shows_as_before) {
  const auto packets = captured("at", {"AT+CFUN=1\r\n", "at", "OK", "", "+CME ERROR: 3"});
  const std::string header =
      exported_pdu_header("at", direction::unknown, {}, direction_tag::always);
  std::vector<std::uint32_t> flags;
  for (const captured_packet& packet : packets) {
    flags.push_back(packet.flags);
    EXPECT_EQ(packet.data.substr(0, header.size()), header);
    EXPECT_EQ(packet.comment, "");
  }
  EXPECT_THAT(flags, testing::ElementsAre(outbound, outbound, inbound, inbound, inbound));
}

TEST(packet_direction, a_report_of_losses_has_none) {
  const auto packets = captured("at", {"Dropped traces count: 7"});
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].flags, 0U);
  EXPECT_EQ(packets[0].comment, "dropped traces");
}

TEST(packet_direction, a_tag_can_say_that_it_is_unknown) {
  EXPECT_EQ(exported_pdu_header("at", direction::unknown, {}, direction_tag::always),
            "\0\x0C\0\x04"
            "at\0\0"
            "\0\x23\0\x04\xFF\xFF\xFF\xFF"
            "\0\0\0\0"s);
}

}  // namespace
}  // namespace veltra::host
