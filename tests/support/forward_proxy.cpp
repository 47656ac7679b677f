#include "tests/support/forward_proxy.h"

#include <string_view>

namespace test_support {

std::string forward_proxy::address() const {
  return "127.0.0.1:" + std::to_string(port());
}

std::vector<std::string> forward_proxy::targets() const {
  const std::lock_guard lock(mutex_);
  return targets_;
}

void forward_proxy::serve(connection peer) {
  constexpr std::string_view method = "GET ";
  constexpr std::string_view loopback = "http://127.0.0.1:";
  const auto head = peer.read_head();
  if (!head || !head->starts_with(method)) return;
  const std::string target =
      head->substr(method.size(), head->find(' ', method.size()) - method.size());
  {
    const std::lock_guard lock(mutex_);
    targets_.push_back(target);
  }
  if (!target.starts_with(loopback)) {
    peer.send("HTTP/1.1 502 No such host\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    return;
  }
  const std::string rest = target.substr(loopback.size());  // PORT/PATH
  connection server = connect_to(static_cast<std::uint16_t>(std::stoul(rest)));
  server.send("GET " + rest.substr(rest.find('/')) + " HTTP/1.1\r\nVia: 1.1 forward_proxy\r\n\r\n");
  peer.send(server.read_to_end());
}

}  // namespace test_support
