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
  static const std::regex request_line(
      "GET (http://127\\.0\\.0\\.1:([0-9]+)(/[^ ]*)) HTTP/1\\.1\r\n");
  const auto head = peer.read_head();
  std::smatch match;
  if (!head || !std::regex_search(*head, match, request_line)) {
    peer.send("HTTP/1.1 400 Not for a proxy\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    targets_.push_back(match[1]);
  }
  connection server = connect_to(static_cast<std::uint16_t>(std::stoul(match[2])));
  server.send("GET " + match[3].str() + " HTTP/1.1\r\nVia: 1.1 forward_proxy\r\n\r\n");
  peer.send(server.read_to_end());
}

}  // namespace test_support
