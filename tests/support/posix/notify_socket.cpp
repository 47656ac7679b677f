#include "tests/support/posix/notify_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace test_support {

namespace {

int bound_socket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("path too long: " + path);
  std::memcpy(address.sun_path, path.data(), path.size());
  const int result = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (bind(result, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("no socket at " + path);
  }
  return result;
}

}  // namespace

notify_socket::notify_socket(std::optional<std::string> watchdog_us)
    : socket_(bound_socket((directory_.path() / "notify").string())),
      name_("NOTIFY_SOCKET", (directory_.path() / "notify").string()),
      watchdog_("WATCHDOG_USEC", std::move(watchdog_us)) {}

notify_socket::~notify_socket() {
  close(socket_);
}

std::string notify_socket::received() const {
  std::string all;
  std::array<char, 1000> datagram;
  for (;;) {
    const ssize_t size = recv(socket_, datagram.data(), datagram.size(), MSG_DONTWAIT);
    if (size < 0) return all;
    all.append(all.empty() ? "" : "; ").append(datagram.data(), static_cast<std::size_t>(size));
  }
}

}  // namespace test_support
