#include "tests/support/tcp_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

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

int descriptor(std::intptr_t handle) {
  return static_cast<int>(handle);
}

}  // namespace

tcp_socket tcp_socket::listening() {
  tcp_socket made(new_socket());
  const sockaddr_in address = loopback_address(0);
  check(bind(descriptor(made.handle_), reinterpret_cast<const sockaddr*>(&address), sizeof address),
        "bind");
  check(listen(descriptor(made.handle_), SOMAXCONN), "listen");
  return made;
}

tcp_socket tcp_socket::connected_to(std::uint16_t port) {
  tcp_socket made(new_socket());
  const sockaddr_in address = loopback_address(port);
  check(connect(descriptor(made.handle_), reinterpret_cast<const sockaddr*>(&address),
                sizeof address),
        "connect");
  return made;
}

tcp_socket::~tcp_socket() {
  if (handle_ != none) close(descriptor(handle_));
}

std::uint16_t tcp_socket::port() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  check(getsockname(descriptor(handle_), reinterpret_cast<sockaddr*>(&address), &size),
        "getsockname");
  return ntohs(address.sin_port);
}

tcp_socket tcp_socket::accept() const {
  tcp_socket made(check(accept4(descriptor(handle_), nullptr, nullptr, SOCK_CLOEXEC), "accept"));
  const int at_once = 1;
  check(setsockopt(descriptor(made.handle_), IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once),
        "setsockopt");
  return made;
}

std::size_t tcp_socket::receive(char* bytes, std::size_t size) const {
  const ssize_t count = recv(descriptor(handle_), bytes, size, 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::size_t tcp_socket::send(std::string_view bytes) const {
  const ssize_t count = ::send(descriptor(handle_), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace test_support
