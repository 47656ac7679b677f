// ip_traffic.h - the user plane: throughput, TCP retransmissions, TLS handshakes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/report/message.h"

namespace veltra::report {

struct tcp_connection {
  std::uint64_t stream = 0;  // tcp.stream in Wireshark
  std::uint32_t first_frame = 0;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  std::string client;  // whoever sent the first packet
  std::string server;
  std::uint64_t bytes = 0;  // payload, both ways, retransmissions included
  std::uint32_t packets = 0;
  std::uint32_t retransmissions = 0;
  bool is_reset = false;
};

struct tls_session {
  std::uint64_t stream = 0;
  std::uint32_t first_frame = 0;  // the client's hello
  std::uint32_t last_frame = 0;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;  // of the handshake
  std::string server_name;
  bool is_established = false;
  std::string failure;  // why the handshake failed; empty if it did not

  double milliseconds() const { return end > begin ? static_cast<double>(end - begin) / 1e6 : 0; }
};

struct retransmission {
  std::uint32_t frame = 0;
  std::uint64_t time = 0;
};

// Bytes in one interval of the throughput, with IP headers.
struct traffic_interval {
  std::uint64_t up = 0;
  std::uint64_t down = 0;
};

struct ip_summary {
  std::uint64_t packets = 0;
  std::uint64_t bytes_up = 0;
  std::uint64_t bytes_down = 0;
  std::string modem_address;                            // empty if it is not known
  std::string address_source;                           // in words: where the address comes from
  std::map<std::uint64_t, traffic_interval> intervals;  // by time / interval_length
  std::vector<tcp_connection> connections;
  std::vector<tls_session> sessions;
  std::vector<retransmission> retransmissions;
};

// Takes the IP packets of a capture one by one and keeps sums, so that a capture may hold any
// number of them.
class ip_traffic {
 public:
  static constexpr std::uint64_t interval_length = 100'000'000;  // nanoseconds

  void take(const message& packet);

  // A signalling message, for the address that the network gives the modem.
  void take_signalling(const message& message);

  ip_summary finish();

  // Which way a packet goes, known after finish().
  direction direction_of(const message& packet) const;

 private:
  using address_pair = std::pair<std::string, std::string>;  // source, destination

  void take_tcp(const message& packet, const address_pair& ends);
  void take_tls(const message& packet, std::uint64_t stream, const std::string& source);
  std::string choose_address(ip_summary& summary) const;

  struct handshake {
    std::size_t session = 0;  // index in summary_.sessions
    std::string client;
    bool client_ciphers = false;
    bool server_ciphers = false;
  };

  ip_summary summary_;
  std::map<address_pair, std::map<std::uint64_t, std::uint64_t>> flows_;
  std::map<std::string, std::uint64_t> packets_of_;  // by address, either end
  std::string first_source_;
  std::string assigned_address_;
  std::map<std::uint64_t, std::size_t> connection_of_;  // by stream
  std::map<std::uint64_t, handshake> handshakes_;       // under way, by stream
};

}  // namespace veltra::report
