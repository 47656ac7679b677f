#include "host/output/tls_hello.h"

#include <gtest/gtest.h>

#include <span>

#include "tests/unit/host/output/ip_packets.h"

namespace veltra::host {
namespace {

TEST(tls_hello, a_servers_hello_is_found_behind_all_headers) {
  EXPECT_TRUE(begins_with_server_hello(ipv4(tcp(server_hello))));
  EXPECT_TRUE(begins_with_server_hello(ipv4(tcp(server_hello, 3), 2)));
  EXPECT_TRUE(begins_with_server_hello(ipv6(tcp(server_hello, 10))));
}

TEST(tls_hello, other_records_and_messages_are_none) {
  EXPECT_FALSE(begins_with_server_hello(ipv4(tcp(client_hello))));
  for (const std::size_t at : {0U, 1U, 5U}) {
    auto record = server_hello;
    ++record[at];
    EXPECT_FALSE(begins_with_server_hello(ipv4(tcp(record)))) << at;
  }
  EXPECT_FALSE(begins_with_server_hello(ipv4(tcp({}))));
}

TEST(tls_hello, other_protocols_and_fragments_are_none) {
  auto udp = ipv4(tcp(server_hello));
  udp[9] = 17;
  EXPECT_FALSE(begins_with_server_hello(udp));
  auto udp6 = ipv6(tcp(server_hello));
  udp6[6] = 17;
  EXPECT_FALSE(begins_with_server_hello(udp6));
  auto version5 = ipv4(tcp(server_hello));
  version5[0] = 0x55;
  EXPECT_FALSE(begins_with_server_hello(version5));
  for (const std::size_t at : {6U, 7U}) {
    auto fragment = ipv4(tcp(server_hello));
    fragment[at] = 1;
    EXPECT_FALSE(begins_with_server_hello(fragment)) << at;
  }
  auto whole = ipv4(tcp(server_hello));
  whole[6] = 0x40;  // "don't fragment"
  EXPECT_TRUE(begins_with_server_hello(whole));
}

TEST(tls_hello, a_packet_that_is_cut_anywhere_is_looked_at_within_its_bounds) {
  for (const auto& packet : {ipv4(tcp(server_hello, 2), 3), ipv6(tcp(server_hello))}) {
    const std::size_t needed = packet.size() - server_hello.size() + 6;
    for (std::size_t size = 0; size <= packet.size(); ++size) {
      // A copy of just this size, for tools that watch over reads.
      const std::vector<std::uint8_t> cut(packet.begin(),
                                          packet.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_EQ(begins_with_server_hello(cut), size >= needed) << size;
    }
  }
  // Headers that claim more than there is.
  EXPECT_FALSE(begins_with_server_hello(ipv4({}, 10)));
  EXPECT_FALSE(begins_with_server_hello(std::vector<std::uint8_t>(20, 0x4f)));
  EXPECT_FALSE(begins_with_server_hello(std::vector<std::uint8_t>(200, 0xff)));
}

}  // namespace
}  // namespace veltra::host
