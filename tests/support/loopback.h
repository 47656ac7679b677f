// loopback.h - TCP on 127.0.0.1 for servers that tests run in their own process.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "tests/support/tcp_socket.h"

namespace test_support {

// One connection, closed with the object.
class connection {
 public:
  explicit connection(tcp_socket socket) : socket_(std::move(socket)) {}

  // Reads up to and with the empty line that ends a request's head (RFC 9112).
  // Returns nothing if the peer closes before.
  std::optional<std::string> read_head();

  // Reads until the peer closes.
  std::string read_to_end();

  // Returns false when the peer does not take it all.
  bool send(std::string_view bytes);

 private:
  tcp_socket socket_;
};

// Connects to 127.0.0.1. Throws std::system_error.
connection connect_to(std::uint16_t port);

// Takes connections on a port of the system's choice, one after the other, on a
// thread of its own. A server derives from it and calls stop_serving() in its
// destructor.
class loopback_server {
 public:
  loopback_server();
  loopback_server(const loopback_server&) = delete;
  loopback_server& operator=(const loopback_server&) = delete;
  virtual ~loopback_server() = default;

  std::uint16_t port() const { return port_; }

 protected:
  void start_serving();

  // Waits for the connection that is being served.
  void stop_serving();

 private:
  virtual void serve(connection peer) = 0;

  tcp_socket listener_;
  std::uint16_t port_;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace test_support
