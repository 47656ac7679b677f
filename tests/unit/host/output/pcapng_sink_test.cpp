#include "host/output/pcapng_sink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "host/output/exported_pdu.h"
#include "host/output/pcapng_blocks.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/output/ip_packets.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class pcapng_sink_test : public testing::Test {
 protected:
  pcapng_sink_test() { begin({}); }

  void begin(pcapng_sink::settings settings) {
    sink_.emplace(path_, settings);
    sink_->begin();
  }

  void put(std::string_view layer, std::string_view payload, std::uint64_t time = 0) {
    sink_->write(packet_of(layer, payload, "{}", time));
  }

  // Closes the capture and returns its bytes.
  std::string written() {
    sink_->finish();
    return content(path_);
  }

  test_support::temp_directory directory_;
  std::filesystem::path path_ = directory_.path() / "out.pcapng";
  std::optional<pcapng_sink> sink_;
};

std::string text_of(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

// H header, I interface, P packet, S statistics, K secrets.
std::string order(const std::vector<capture_block>& blocks) {
  std::string text;
  for (const capture_block& block : blocks) {
    text += block.type == pcapng::section_header_type          ? 'H'
            : block.type == pcapng::interface_description_type ? 'I'
            : block.type == pcapng::enhanced_packet_type       ? 'P'
            : block.type == pcapng::interface_statistics_type  ? 'S'
            : block.type == pcapng::decryption_secrets_type    ? 'K'
                                                               : '?';
  }
  return text;
}

// Those of the interface statistics, with their options.
std::vector<capture_block> statistics_of(std::string_view file) {
  std::vector<capture_block> found;
  for (const capture_block& block : read_blocks(file)) {
    if (block.type == pcapng::interface_statistics_type) found.push_back(block);
  }
  return found;
}

std::uint64_t count_in(const capture_block& statistics, std::uint16_t option) {
  return capture_block{0, statistics.options(12).at(option)}.u64(0);
}

constexpr std::uint16_t received_count = 4;  // isb_ifrecv
constexpr std::uint16_t dropped_count = 5;   // isb_ifdrop

std::vector<std::string> interfaces(const std::vector<captured_packet>& packets) {
  std::vector<std::string> names;
  for (const captured_packet& packet : packets) names.push_back(packet.interface);
  return names;
}

std::string pdu(std::string_view dissector, direction way, std::string_view payload) {
  return exported_pdu_header(dissector, way) + std::string(payload);
}

TEST_F(pcapng_sink_test, a_capture_without_packets_is_a_section_header) {
  const auto blocks = read_blocks(written());
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].type, pcapng::section_header_type);
  auto options = blocks[0].options(16);
  EXPECT_EQ(options[2], "LTE modem trace");
  EXPECT_THAT(options[4], testing::StartsWith("veltra "));
}

TEST_F(pcapng_sink_test, each_kind_has_an_interface_of_its_own) {
  for (const char* layer : {"at", "lte_rrc.dl_dcch", "ip", "nas-eps", "lte_rrc.pcch", "x", "ip"}) {
    put(layer, "E");
  }
  const auto packets = read_packets(written());
  EXPECT_THAT(interfaces(packets), ElementsAre("at", "rrc", "ip", "nas", "rrc", "other", "ip"));
  for (const captured_packet& packet : packets) {
    EXPECT_EQ(packet.link_type, packet.interface == "ip" ? 101 : 252) << packet.interface;
  }
}

TEST_F(pcapng_sink_test, ip_packets_are_written_as_they_are) {
  put("ip", "E\x01\x02", 1'234'567'890'123'456'789);
  const auto packets = read_packets(written());
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].data, "E\x01\x02");
  EXPECT_EQ(packets[0].time, 1'234'567'890'123'456'789U);
  EXPECT_EQ(packets[0].flags, 0U);
}

TEST_F(pcapng_sink_test, messages_carry_dissector_and_direction) {
  put("lte_rrc.UL_DCCH.Message", "u");
  put("lte_rrc.DL_DCCH.Message", "d");
  put("nas-eps", "n");
  const auto packets = read_packets(written());
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[0].data, pdu("lte_rrc.ul_dcch", direction::sent, "u"));
  EXPECT_EQ(packets[0].flags, 2U);
  EXPECT_EQ(packets[1].data, pdu("lte_rrc.dl_dcch", direction::received, "d"));
  EXPECT_EQ(packets[1].flags, 1U);
  EXPECT_EQ(packets[2].data, pdu("nas-eps", direction::unknown, "n"));
  EXPECT_EQ(packets[2].flags, 0U);
}

TEST_F(pcapng_sink_test, an_unknown_layer_shows_its_name_and_its_bytes) {
  put("new-layer", "bytes");
  const auto packets = read_packets(written());
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].data,
            exported_pdu_header("data", direction::unknown, "new-layer") + "bytes");
  EXPECT_EQ(packets[0].comment, "no dissector for layer new-layer");
}

TEST_F(pcapng_sink_test, a_layer_without_a_name_is_a_packet_too) {
  put("", "bytes");
  const auto packets = read_packets(written());
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].interface, "other");
}

TEST_F(pcapng_sink_test, an_empty_payload_is_a_packet_that_no_dissector_calls_malformed) {
  put("ip", "");
  put("nas-eps", "");
  put("lte_rrc.pcch", "");
  const auto packets = read_packets(written());
  EXPECT_THAT(interfaces(packets), ElementsAre("other", "nas", "rrc"));
  EXPECT_EQ(packets[0].data, exported_pdu_header("data", direction::unknown, "ip"));
  EXPECT_EQ(packets[1].data, exported_pdu_header("data", direction::unknown, "nas-eps"));
  EXPECT_EQ(packets[2].data, exported_pdu_header("data", direction::unknown, "lte_rrc.pcch"));
  EXPECT_EQ(packets[0].comment, "no message of its layer");
}

TEST_F(pcapng_sink_test, an_ip_packet_of_no_known_version_is_data) {
  put("ip", "\x60 six");
  put("ip", "\x50 five");
  const auto packets = read_packets(written());
  EXPECT_THAT(interfaces(packets), ElementsAre("ip", "other"));
  EXPECT_EQ(packets[0].data, "\x60 six");
  EXPECT_EQ(packets[1].data, exported_pdu_header("data", direction::unknown, "ip") + "\x50 five");
}

TEST_F(pcapng_sink_test, raw_packets_are_passed_over) {
  put("modem_trace", "raw");
  EXPECT_EQ(read_blocks(written()).size(), 1U);
}

TEST_F(pcapng_sink_test, raw_packets_that_are_wanted_are_in_their_place_as_data) {
  begin({.packets = with_raw_packets()});
  put("modem_trace", "first");
  put("at", "OK", 20);
  put("modem_trace", "second");
  put("at", "OK", 30);
  const auto packets = read_packets(written());
  EXPECT_THAT(interfaces(packets), ElementsAre("raw", "at", "raw", "at"));
  const std::string header = exported_pdu_header("data", direction::unknown, "modem_trace");
  EXPECT_EQ(packets[0].data, header + "first");
  EXPECT_EQ(packets[2].data, header + "second");
  EXPECT_EQ(packets[0].comment, "");
  EXPECT_EQ(packets[0].time, 0U);
  EXPECT_EQ(packets[2].time, 20U) << "they have no time of their own";
}

TEST_F(pcapng_sink_test, a_raw_packet_that_is_too_large_is_several) {
  begin({.packets = with_raw_packets()});
  const std::string raw = std::string(262144, 'a') + std::string(262144, 'b');
  put("modem_trace", raw);
  const std::string header = exported_pdu_header("data", direction::unknown, "modem_trace");
  std::string joined;
  const auto packets = read_packets(written());
  EXPECT_EQ(packets.size(), 3U);
  for (const captured_packet& packet : packets) {
    EXPECT_LE(packet.data.size(), 262144U);
    EXPECT_EQ(packet.full_size, packet.data.size());
    joined += packet.data.substr(header.size());
  }
  EXPECT_TRUE(joined == raw);
  EXPECT_THAT(sink_->remarks(), IsEmpty());
}

TEST_F(pcapng_sink_test, a_packet_is_cut_at_what_wireshark_takes_and_counted) {
  put("ip", std::string(262144, 'E'));
  EXPECT_THAT(sink_->remarks(), IsEmpty());
  put("ip", std::string(262145, 'E'));
  put("nas-eps", std::string(262144, 'n'));
  const auto packets = read_packets(written());
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[0].data.size(), 262144U);
  EXPECT_EQ(packets[1].data.size(), 262144U);
  EXPECT_EQ(packets[1].full_size, 262145U);
  EXPECT_EQ(packets[2].data.size(), 262144U);
  EXPECT_EQ(packets[2].full_size,
            262144U + exported_pdu_header("nas-eps", direction::unknown).size());
  EXPECT_EQ(sink_->remarks(), "2 packets cut to 262144 bytes");
}

TEST_F(pcapng_sink_test, statistics_close_each_interface_with_its_losses) {
  put("ip", "E", 10);
  put("at", "OK", 30);
  put("at", "Dropped traces count: 7", 20);
  put("at", "Dropped traces count: 5", 25);
  const auto statistics = statistics_of(written());
  ASSERT_EQ(statistics.size(), 2U);
  EXPECT_EQ(statistics[0].u32(0), 0U);
  EXPECT_EQ(count_in(statistics[0], received_count), 1U);
  EXPECT_EQ(count_in(statistics[0], dropped_count), 0U);
  EXPECT_EQ(statistics[1].u32(0), 1U);
  EXPECT_EQ(count_in(statistics[1], received_count), 3U);
  EXPECT_EQ(count_in(statistics[1], dropped_count), 12U);
  for (const capture_block& block : statistics) {
    EXPECT_EQ(std::uint64_t{block.u32(4)} << 32 | block.u32(8), 30U) << "the latest time";
  }
}

TEST_F(pcapng_sink_test, secrets_precede_the_server_hello_that_they_belong_to) {
  put("at", "OK");
  put("ip", text_of(ipv4(tcp(client_hello))));
  put("ip", text_of(ipv4(tcp(server_hello))));
  put("at", "OK");
  put("handshake_randbytes", std::string(64, 'r'));
  put("ip", "E");
  EXPECT_TRUE(sink_->flush());
  put("session_master", std::string(48, 'm'));
  EXPECT_FALSE(sink_->flush());
  const auto blocks = read_blocks(written());
  EXPECT_EQ(order(blocks), "HIPIPKPPPSS");
  std::string line = "CLIENT_RANDOM ";
  for (int i = 0; i < 32; ++i) line += "72";
  line += ' ';
  for (int i = 0; i < 48; ++i) line += "6d";
  EXPECT_THAT(blocks.at(5).key_log(), testing::StartsWith(line + "\n"));
  EXPECT_THAT(sink_->remarks(), IsEmpty());
}

// A reader that is too slow for a live run.
TEST_F(pcapng_sink_test, a_gap_is_a_comment_of_the_next_packet_and_dropped_on_its_interface) {
  put("ip", "E");
  sink_->mark_missed(2);
  sink_->mark_missed(1);
  put("nas-eps", "n");
  sink_->mark_missed(1);
  put("at", "OK");
  put("nas-eps", "n");
  const std::string file = written();
  const auto packets = read_packets(file);
  ASSERT_EQ(packets.size(), 4U);
  EXPECT_EQ(packets[0].comment, "");
  EXPECT_EQ(packets[1].comment, "3 packets before this one were missed: the reader was too slow");
  EXPECT_EQ(packets[2].comment, "1 packet before this one was missed: the reader was too slow");
  EXPECT_EQ(packets[3].comment, "");
  const auto statistics = statistics_of(file);
  ASSERT_EQ(statistics.size(), 3U);
  EXPECT_EQ(count_in(statistics[0], dropped_count), 0U);
  EXPECT_EQ(count_in(statistics[1], dropped_count), 3U);
  EXPECT_EQ(count_in(statistics[2], dropped_count), 1U);
}

TEST_F(pcapng_sink_test, secrets_without_ip_packets_are_kept) {
  put("at", "OK");
  put("handshake_randbytes", std::string(64, 'r'));
  put("session_master", std::string(48, 'm'));
  EXPECT_EQ(order(read_blocks(written())), "HIPKS");
}

TEST_F(pcapng_sink_test, key_material_that_makes_no_secrets_is_kept_and_counted) {
  put("handshake_randbytes", std::string(63, 'r'));
  put("session_master", std::string(32, 'm'));
  put("session_master", "");
  put("session_master", std::string(48, 'm'));
  std::string key_log;
  for (const capture_block& block : read_blocks(written())) {
    if (block.type == pcapng::decryption_secrets_type) key_log += block.key_log();
  }
  EXPECT_THAT(key_log,
              testing::AllOf(testing::HasSubstr("# handshake_randbytes of a wrong size: 7272"),
                             testing::HasSubstr("# session_master of a wrong size: 6d6d"),
                             testing::HasSubstr("# session_master without a handshake: 6d6d")));
  EXPECT_EQ(sink_->remarks(),
            "3 TLS key traces of a wrong size, 1 TLS master secret without a handshake (kept as "
            "comments with the TLS secrets)");
}

TEST_F(pcapng_sink_test, what_is_left_out_leaves_its_losses_on_the_next_packet) {
  begin({.packets = {.kinds = packet_selection::bit(packet_kind::nas)}});
  put("ip", "E");
  put("at", "Dropped traces count: 7");
  put("nas-eps", "N");
  const std::string bytes = written();
  const auto packets = read_packets(bytes);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].comment, "7 traces before this packet were dropped");
  EXPECT_EQ(sink_->remarks(), "2 packets of other layers left out");
}

TEST_F(pcapng_sink_test, without_secrets_nothing_is_held_back_for_them) {
  begin({.packets = {.with_secrets = false}});
  put("session_master", std::string(tls_key_log::master_size, 'M'));
  put("ip", "E");
  const std::string bytes = written();
  EXPECT_EQ(order(read_blocks(bytes)).find('K'), std::string::npos);
  EXPECT_EQ(sink_->remarks(), "");
}

TEST_F(pcapng_sink_test, the_packets_of_the_capture_are_counted) {
  begin({.packets = with_raw_packets()});
  put("modem_trace", std::string(300'000, 'x'));  // too large for one packet
  put("ip", "E");
  put("session_master", std::string(tls_key_log::master_size, 'M'));
  const std::string bytes = written();
  EXPECT_EQ(sink_->packets(), 3U);
  EXPECT_EQ(read_packets(bytes).size(), 3U);
}

}  // namespace
}  // namespace veltra::host
