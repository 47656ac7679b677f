#include "tests/support/loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace test_support {

namespace {

sockaddr_in loopback_address(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int check(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

int new_socket() {
  return check(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
}

}  // namespace

connection::~connection() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::optional<std::string> connection::read_head() {
  std::string head;
  char byte = 0;
  while (!head.ends_with("\r\n\r\n")) {
    if (recv(descriptor_, &byte, 1, 0) != 1) return std::nullopt;
    head += byte;
  }
  return head;
}

std::string connection::read_to_end() {
  std::string bytes;
  std::array<char, 65536> block{};
  for (;;) {
    const ssize_t count = recv(descriptor_, block.data(), block.size(), 0);
    if (count <= 0) return bytes;
    bytes.append(block.data(), static_cast<std::size_t>(count));
  }
}

bool connection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

connection connect_to(std::uint16_t port) {
  const int descriptor = new_socket();
  connection made(descriptor);
  const sockaddr_in address = loopback_address(port);
  check(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address),
        "connect");
  return made;
}

loopback_server::loopback_server() : listener_(new_socket()) {
  sockaddr_in address = loopback_address(0);
  socklen_t size = sizeof address;
  check(bind(listener_, reinterpret_cast<const sockaddr*>(&address), size), "bind");
  check(listen(listener_, SOMAXCONN), "listen");
  check(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
  port_ = ntohs(address.sin_port);
}

loopback_server::~loopback_server() {
  close(listener_);
}

void loopback_server::start_serving() {
  thread_ = std::thread([this] {
    for (;;) {
      const int accepted = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (accepted < 0) return;
      const int at_once = 1;
      setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once);
      serve(connection(accepted));
    }
  });
}

void loopback_server::stop_serving() {
  shutdown(listener_, SHUT_RDWR);  // wakes accept4()
  if (thread_.joinable()) thread_.join();
}

}  // namespace test_support
