#include "tests/support/forward_proxy.h"

#include <regex>

namespace test_support {

std::string forward_proxy::address() const {
  return "127.0.0.1:" + std::to_string(port());
}

std::vector<std::string> forward_proxy::targets() const {
  const std::lock_guard lock(mutex_);
  return targets_;
}

void forward_proxy::serve(connection peer) {
  static const std::regex request_line("GET ([^ ]+) HTTP/1\\.1\r\n");
  static const std::regex loopback_url("http://127\\.0\\.0\\.1:([0-9]+)(/.*)");
  const auto head = peer.read_head();
  std::smatch request;
  if (!head || !std::regex_search(*head, request, request_line)) return;
  const std::string target = request[1];
  {
    const std::lock_guard lock(mutex_);
    targets_.push_back(target);
  }
  std::smatch url;
  if (!std::regex_match(target, url, loopback_url)) {
    peer.send("HTTP/1.1 502 No such host\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    return;
  }
  connection server = connect_to(static_cast<std::uint16_t>(std::stoul(url[1])));
  server.send("GET " + url[2].str() + " HTTP/1.1\r\nVia: 1.1 forward_proxy\r\n\r\n");
  peer.send(server.read_to_end());
}

}  // namespace test_support
