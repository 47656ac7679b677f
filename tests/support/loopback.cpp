#include "tests/support/loopback.h"

#include <array>
#include <cstddef>

namespace test_support {

std::optional<std::string> connection::read_head() {
  std::string head;
  char byte = 0;
  while (!head.ends_with("\r\n\r\n")) {
    if (socket_.receive(&byte, 1) != 1) return std::nullopt;
    head += byte;
  }
  return head;
}

std::string connection::read_to_end() {
  std::string bytes;
  std::array<char, 65536> block{};
  for (;;) {
    const std::size_t count = socket_.receive(block.data(), block.size());
    if (count == 0) return bytes;
    bytes.append(block.data(), count);
  }
}

bool connection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t count = socket_.send(bytes);
    if (count == 0) return false;
    bytes.remove_prefix(count);
  }
  return true;
}

connection connect_to(std::uint16_t port) {
  return connection(tcp_socket::connected_to(port));
}

loopback_server::loopback_server() : listener_(tcp_socket::listening()), port_(listener_.port()) {}

void loopback_server::start_serving() {
  thread_ = std::thread([this] {
    for (;;) {
      tcp_socket accepted = listener_.accept();
      if (stopping_) return;
      serve(connection(std::move(accepted)));
    }
  });
}

void loopback_server::stop_serving() {
  stopping_ = true;
  const tcp_socket waking = tcp_socket::connected_to(port_);
  thread_.join();
}

}  // namespace test_support
