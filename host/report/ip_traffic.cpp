#include "host/report/ip_traffic.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace veltra::report {

namespace {

// TLS handshake types (RFC 5246, 7.4) and alert levels (7.2).
constexpr std::uint64_t client_hello = 1;
constexpr std::uint64_t finished = 20;
constexpr std::uint64_t fatal = 2;

std::string address_in(const message& packet, field v4, field v6) {
  const std::string_view text = packet.fields.text(v4);
  return std::string(text.empty() ? packet.fields.text(v6) : text);
}

// Addresses that a network gives to its subscribers, not to servers (RFC 1918, RFC 6598).
bool is_private(std::string_view address) {
  if (address.starts_with("10.") || address.starts_with("192.168.")) return true;
  const auto second = [&]() -> int {
    const std::size_t dot = address.find('.');
    int value = 0;
    for (std::size_t i = dot + 1; i < address.size() && address[i] != '.'; ++i) {
      value = value * 10 + (address[i] - '0');
    }
    return value;
  };
  if (address.starts_with("172.")) return second() >= 16 && second() <= 31;
  if (address.starts_with("100.")) return second() >= 64 && second() <= 127;
  return false;
}

}  // namespace

void ip_traffic::take(const message& packet) {
  ++summary_.packets;
  address_pair ends(address_in(packet, field::ip_source, field::ipv6_source),
                    address_in(packet, field::ip_destination, field::ipv6_destination));
  if (ends.first.empty()) return;
  if (first_source_.empty()) first_source_ = ends.first;
  ++packets_of_[ends.first];
  ++packets_of_[ends.second];
  flows_[ends][packet.time / interval_length] += packet.size;
  take_tcp(packet, ends);
}

void ip_traffic::take_signalling(const message& message) {
  const std::string_view address = message.fields.text(field::nas_pdn_ipv4);
  if (!address.empty()) assigned_address_ = address;
}

void ip_traffic::take_tcp(const message& packet, const address_pair& ends) {
  const auto stream = packet.fields.number(field::tcp_stream);
  if (!stream) return;
  const auto [position, is_new] = connection_of_.try_emplace(*stream, summary_.connections.size());
  if (is_new) {
    summary_.connections.push_back({.stream = *stream,
                                    .first_frame = packet.frame,
                                    .begin = packet.time,
                                    .end = packet.time,
                                    .client = ends.first,
                                    .server = ends.second});
  }
  tcp_connection& connection = summary_.connections[position->second];
  connection.end = packet.time;
  ++connection.packets;
  connection.bytes += packet.fields.number(field::tcp_length).value_or(0);
  if (packet.fields.has(field::tcp_retransmission)) {
    ++connection.retransmissions;
    summary_.retransmissions.push_back({packet.frame, packet.time});
  }
  if (packet.fields.number(field::tcp_reset).value_or(0) != 0) {
    connection.is_reset = true;
    const auto running = handshakes_.find(*stream);
    if (running != handshakes_.end()) {
      tls_session& session = summary_.sessions[running->second.session];
      session.last_frame = packet.frame;
      session.end = packet.time;
      session.failure = "the TCP connection was reset";
      handshakes_.erase(running);
    }
  }
  take_tls(packet, *stream, ends.first);
}

void ip_traffic::take_tls(const message& packet, std::uint64_t stream, const std::string& source) {
  const std::vector<std::uint64_t> types = packet.fields.numbers(field::tls_handshake);
  const auto has = [&](std::uint64_t type) {
    return std::find(types.begin(), types.end(), type) != types.end();
  };
  if (has(client_hello) && handshakes_.find(stream) == handshakes_.end()) {
    handshakes_[stream] = {.session = summary_.sessions.size(), .client = source};
    summary_.sessions.push_back(
        {.stream = stream,
         .first_frame = packet.frame,
         .last_frame = packet.frame,
         .begin = packet.time,
         .end = packet.time,
         .server_name = std::string(packet.fields.text(field::tls_server_name)),
         .is_established = false,
         .failure = {}});
  }
  const auto running = handshakes_.find(stream);
  if (running == handshakes_.end()) return;
  tls_session& session = summary_.sessions[running->second.session];
  // Behind a change of ciphers a side's messages are encrypted, in TLS 1.3 for old boxes' sake as
  // well; so the handshake is over when both sides have changed.
  if (packet.fields.has(field::tls_change_cipher) || has(finished)) {
    (source == running->second.client ? running->second.client_ciphers
                                      : running->second.server_ciphers) = true;
  }
  session.last_frame = packet.frame;
  session.end = packet.time;
  if (packet.fields.has_number(field::tls_alert_level, fatal)) {
    session.failure =
        fmt::format("fatal alert {}", packet.fields.number(field::tls_alert).value_or(0));
    handshakes_.erase(running);
  } else if (running->second.client_ciphers && running->second.server_ciphers) {
    session.is_established = true;
    handshakes_.erase(running);
  }
}

std::string ip_traffic::choose_address(ip_summary& summary) const {
  if (!assigned_address_.empty() && packets_of_.contains(assigned_address_)) {
    summary.address_source = "assigned by the network";
    return assigned_address_;
  }
  std::uint64_t most = 0;
  for (const auto& [address, count] : packets_of_) most = std::max(most, count);
  // The modem is one end of every packet; between two such ends the subscriber's address is
  // private more often than the server's.
  std::string chosen;
  for (const auto& [address, count] : packets_of_) {
    if (count != most) continue;
    const bool is_better = chosen.empty() || (is_private(address) && !is_private(chosen)) ||
                           (is_private(address) == is_private(chosen) && address == first_source_);
    if (is_better) chosen = address;
  }
  if (!chosen.empty()) summary.address_source = "guessed";
  return chosen;
}

ip_summary ip_traffic::finish() {
  summary_.modem_address = choose_address(summary_);
  for (const auto& [ends, bytes] : flows_) {
    const bool is_up = ends.first == summary_.modem_address;
    const bool is_down = !is_up && ends.second == summary_.modem_address;
    for (const auto& [interval, count] : bytes) {
      traffic_interval& into = summary_.intervals[interval];
      if (is_up) into.up += count;
      if (is_down) into.down += count;
      if (is_up) summary_.bytes_up += count;
      if (is_down) summary_.bytes_down += count;
    }
  }
  return summary_;
}

direction ip_traffic::direction_of(const message& packet) const {
  if (summary_.modem_address.empty()) return direction::unknown;
  if (address_in(packet, field::ip_source, field::ipv6_source) == summary_.modem_address) {
    return direction::uplink;
  }
  if (address_in(packet, field::ip_destination, field::ipv6_destination) ==
      summary_.modem_address) {
    return direction::downlink;
  }
  return direction::unknown;
}

}  // namespace veltra::report
