// notify_socket.h - a service manager in a test: the socket that $NOTIFY_SOCKET names.
#pragma once

#include <optional>
#include <string>

#include "tests/support/environment_variable.h"
#include "tests/support/temp_directory.h"

namespace test_support {

// One thread. $NOTIFY_SOCKET and $WATCHDOG_USEC are restored when it goes.
class notify_socket {
 public:
  // Without a watchdog if `watchdog_us` is empty.
  explicit notify_socket(std::optional<std::string> watchdog_us = std::nullopt);
  notify_socket(const notify_socket&) = delete;
  notify_socket& operator=(const notify_socket&) = delete;
  ~notify_socket();

  // The datagrams that came since the last call, with "; " between. Does not wait.
  std::string received() const;

 private:
  const temp_directory directory_;
  const int socket_;
  const environment_variable name_;
  const environment_variable watchdog_;
};

}  // namespace test_support
