#include "tests/support/tcp_socket.h"

// Before the system's own header, which otherwise brings an older one.
#include <winsock2.h>

#include <algorithm>
#include <limits>
#include <system_error>

#include "platform/windows/system.h"

namespace test_support {

namespace {

sockaddr_in loopback_address(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

void check(bool succeeded, const char* what) {
  if (!succeeded) throw std::system_error(WSAGetLastError(), std::system_category(), what);
}

SOCKET native(std::intptr_t handle) {
  return static_cast<SOCKET>(handle);
}

// The sockets of a process want to be begun with, once.
class winsock {
 public:
  winsock() {
    WSADATA ignored;
    const int error = WSAStartup(MAKEWORD(2, 2), &ignored);
    if (error != 0) throw std::system_error(error, std::system_category(), "WSAStartup");
  }
  winsock(const winsock&) = delete;
  winsock& operator=(const winsock&) = delete;
  ~winsock() { WSACleanup(); }
};

std::intptr_t new_socket() {
  static const winsock begun;
  const SOCKET made = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  check(made != INVALID_SOCKET, "socket");
  return static_cast<std::intptr_t>(made);
}

int length_of(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace

tcp_socket tcp_socket::listening() {
  tcp_socket made(new_socket());
  const sockaddr_in address = loopback_address(0);
  check(
      bind(native(made.handle_), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
      "bind");
  check(listen(native(made.handle_), SOMAXCONN) == 0, "listen");
  return made;
}

tcp_socket tcp_socket::connected_to(std::uint16_t port) {
  tcp_socket made(new_socket());
  const sockaddr_in address = loopback_address(port);
  check(connect(native(made.handle_), reinterpret_cast<const sockaddr*>(&address),
                sizeof address) == 0,
        "connect");
  return made;
}

tcp_socket::~tcp_socket() {
  if (handle_ != none) closesocket(native(handle_));
}

std::uint16_t tcp_socket::port() const {
  sockaddr_in address{};
  int size = sizeof address;
  check(getsockname(native(handle_), reinterpret_cast<sockaddr*>(&address), &size) == 0,
        "getsockname");
  return ntohs(address.sin_port);
}

tcp_socket tcp_socket::accept() const {
  const SOCKET accepted = ::accept(native(handle_), nullptr, nullptr);
  check(accepted != INVALID_SOCKET, "accept");
  tcp_socket made(static_cast<handle>(accepted));
  const BOOL at_once = TRUE;
  check(setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&at_once),
                   sizeof at_once) == 0,
        "setsockopt");
  return made;
}

std::size_t tcp_socket::receive(char* bytes, std::size_t size) const {
  const int count = recv(native(handle_), bytes, length_of(size), 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::size_t tcp_socket::send(std::string_view bytes) const {
  const int count = ::send(native(handle_), bytes.data(), length_of(bytes.size()), 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace test_support
