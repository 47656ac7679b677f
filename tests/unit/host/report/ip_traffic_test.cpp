#include "host/report/ip_traffic.h"

#include <gmock/gmock.h>

#include "tests/unit/host/report/script.h"

namespace veltra::report {
namespace {

constexpr const char* modem = "10.1.2.3";
constexpr const char* server = "192.0.2.1";

class ip_traffic_test : public testing::Test {
 protected:
  message packet(const char* from, const char* to, const script::values& fields = {},
                 std::uint32_t size = 100) {
    message result;
    result.frame = ++frame_;
    result.time = frame_ * std::uint64_t{10'000'000};
    result.layer = layer::ip;
    result.size = size;
    result.fields.add(field::ip_source, from);
    result.fields.add(field::ip_destination, to);
    for (const auto& [which, value] : fields) result.fields.add(which, value);
    return result;
  }

  ip_traffic traffic_;
  std::uint32_t frame_ = 0;
};

TEST_F(ip_traffic_test, counts_bytes_each_way) {
  traffic_.take(packet(modem, server, {}, 60));
  traffic_.take(packet(server, modem, {}, 1500));
  traffic_.take(packet(modem, "198.51.100.7", {}, 40));
  const ip_summary summary = traffic_.finish();
  EXPECT_EQ(summary.modem_address, modem);
  EXPECT_EQ(summary.bytes_up, 100U);
  EXPECT_EQ(summary.bytes_down, 1500U);
  EXPECT_EQ(traffic_.direction_of(packet(server, modem)), direction::downlink);
  EXPECT_EQ(traffic_.direction_of(packet("1.1.1.1", "2.2.2.2")), direction::unknown);
}

TEST_F(ip_traffic_test, takes_the_private_end_for_the_modem) {
  traffic_.take(packet(server, "100.64.0.9"));
  EXPECT_EQ(traffic_.finish().modem_address, "100.64.0.9");
}

TEST_F(ip_traffic_test, believes_the_network_about_the_address) {
  const script played = script().nas(emm_message::attach_accept, {{field::nas_pdn_ipv4, server}});
  traffic_.take_signalling(played.messages()[0]);
  traffic_.take(packet(modem, server));
  EXPECT_EQ(traffic_.finish().modem_address, server);
}

TEST_F(ip_traffic_test, counts_retransmissions_of_each_connection) {
  const script::values stream = {{field::tcp_stream, "0"}, {field::tcp_length, "10"}};
  script::values again = stream;
  again.emplace_back(field::tcp_retransmission, "1");
  traffic_.take(packet(modem, server, stream));
  traffic_.take(packet(modem, server, again));
  traffic_.take(packet(modem, server, {{field::tcp_stream, "1"}, {field::tcp_reset, "1"}}));
  const ip_summary summary = traffic_.finish();
  ASSERT_EQ(summary.connections.size(), 2U);
  EXPECT_EQ(summary.connections[0].retransmissions, 1U);
  EXPECT_EQ(summary.connections[0].bytes, 20U);
  EXPECT_EQ(summary.connections[0].client, modem);
  EXPECT_FALSE(summary.connections[0].is_reset);
  EXPECT_TRUE(summary.connections[1].is_reset);
  EXPECT_EQ(summary.retransmissions.size(), 1U);
}

TEST_F(ip_traffic_test, a_handshake_is_over_when_both_sides_encrypt) {
  const script::values hello = {{field::tcp_stream, "0"},
                                {field::tls_handshake, "1"},
                                {field::tls_server_name, "example.com"}};
  const script::values change = {{field::tcp_stream, "0"}, {field::tls_change_cipher, "1"}};
  traffic_.take(packet(modem, server, hello));
  traffic_.take(packet(server, modem, {{field::tcp_stream, "0"}, {field::tls_handshake, "2"}}));
  traffic_.take(packet(modem, server, change));
  traffic_.take(packet(server, modem, change));
  traffic_.take(packet(modem, server, {{field::tcp_stream, "0"}}));
  const ip_summary summary = traffic_.finish();
  ASSERT_EQ(summary.sessions.size(), 1U);
  EXPECT_TRUE(summary.sessions[0].is_established);
  EXPECT_EQ(summary.sessions[0].server_name, "example.com");
  EXPECT_DOUBLE_EQ(summary.sessions[0].milliseconds(), 30);
}

TEST_F(ip_traffic_test, a_handshake_fails_with_an_alert_or_a_reset) {
  const script::values hello = {{field::tcp_stream, "0"}, {field::tls_handshake, "1"}};
  const script::values other = {{field::tcp_stream, "1"}, {field::tls_handshake, "1"}};
  traffic_.take(packet(modem, server, hello));
  traffic_.take(packet(modem, server, other));
  traffic_.take(
      packet(server, modem,
             {{field::tcp_stream, "0"}, {field::tls_alert_level, "2"}, {field::tls_alert, "48"}}));
  traffic_.take(packet(server, modem, {{field::tcp_stream, "1"}, {field::tcp_reset, "1"}}));
  const ip_summary summary = traffic_.finish();
  ASSERT_EQ(summary.sessions.size(), 2U);
  EXPECT_EQ(summary.sessions[0].failure, "fatal alert 48");
  EXPECT_EQ(summary.sessions[1].failure, "the TCP connection was reset");
}

TEST_F(ip_traffic_test, knows_no_address_without_packets) {
  EXPECT_EQ(traffic_.finish().modem_address, "");
}

}  // namespace
}  // namespace veltra::report
