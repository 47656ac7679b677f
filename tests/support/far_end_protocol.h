// far_end_protocol.h - how a program in an emulator and far_end, outside of it, speak
// about lines.
//
// One connection (TCP on 127.0.0.1, to the port that the variable names) is one line.
// far_end begins with the port's name; then each request gets one answer, both of
// them texts that end with '\n':
//   wait MILLISECONDS     wait_for_reader()
//   write SIZE            write() of the SIZE bytes that follow
//   drain MILLISECONDS    drain()
//   close                 the modem vanishes; the last request
// An answer is the outcome's number or, after "close", 0. The end of the connection
// is a "close" as well.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/tcp_socket.h"

namespace test_support {

inline constexpr const char* far_end_variable = "VELTRA_FAR_END";

// Texts and blocks of bytes out of a connection. One thread.
class far_end_connection {
 public:
  explicit far_end_connection(tcp_socket socket) : socket_(std::move(socket)) {}

  // The next text without its '\n', nothing when the connection has ended.
  std::optional<std::string> read_text() {
    for (;;) {
      const std::size_t end = waiting_.find('\n');
      if (end != std::string::npos) {
        std::string text = waiting_.substr(0, end);
        waiting_.erase(0, end + 1);
        return text;
      }
      if (!receive()) return std::nullopt;
    }
  }

  // The next `size` bytes, fewer when the connection has ended.
  std::string read_bytes(std::size_t size) {
    while (waiting_.size() < size && receive()) {
    }
    std::string bytes = waiting_.substr(0, size);
    waiting_.erase(0, size);
    return bytes;
  }

  // False when the peer takes no more.
  bool send(std::string_view bytes) {
    while (!bytes.empty()) {
      const std::size_t sent = socket_.send(bytes);
      if (sent == 0) return false;
      bytes.remove_prefix(std::min(sent, bytes.size()));
    }
    return true;
  }

 private:
  bool receive() {
    char block[4096];
    const std::size_t count = socket_.receive(block, sizeof block);
    waiting_.append(block, count);
    return count > 0;
  }

  tcp_socket socket_;
  std::string waiting_;
};

}  // namespace test_support
