// tcp_socket.h - TCP on 127.0.0.1, as much of it as test servers need.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace test_support {

// One socket, closed with the object. Functions that do not say otherwise throw
// std::system_error when the system refuses.
class tcp_socket {
 public:
  // A listener on a port of the system's choice.
  static tcp_socket listening();
  static tcp_socket connected_to(std::uint16_t port);

  tcp_socket(tcp_socket&& other) noexcept : handle_(std::exchange(other.handle_, none)) {}
  tcp_socket& operator=(tcp_socket&&) = delete;
  ~tcp_socket();

  // The port of a listener.
  std::uint16_t port() const;

  // Waits for a connection; what is sent on it goes out at once.
  tcp_socket accept() const;

  // Waits for bytes and returns how many came, at most `size`; 0 once the peer has
  // closed or the connection has failed.
  std::size_t receive(char* bytes, std::size_t size) const;

  // Returns how many were taken, 0 when the peer takes no more.
  std::size_t send(std::string_view bytes) const;

 private:
  // As wide as the widest of the systems' own handles.
  using handle = std::intptr_t;
  static constexpr handle none = -1;

  explicit tcp_socket(handle value) : handle_(value) {}

  handle handle_;
};

}  // namespace test_support
