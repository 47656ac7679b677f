#include "platform/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace platform {

bool notify_service_manager(std::string_view state) {
  const char* const name = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  const std::string_view path = name != nullptr ? name : "";
  if (path.size() < 2 || path.size() >= sizeof address.sun_path) return false;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  // Of an abstract socket, whose name begins with a zero byte.
  if (path.front() == '@') address.sun_path[0] = '\0';
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return false;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  const ssize_t sent = sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                              reinterpret_cast<const sockaddr*>(&address), length);
  close(descriptor);
  return sent == static_cast<ssize_t>(state.size());
}

std::optional<std::chrono::microseconds> watchdog_interval() {
  const char* const text = std::getenv("WATCHDOG_USEC");
  if (text == nullptr) return std::nullopt;
  std::chrono::microseconds::rep count = 0;
  const char* const end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, count);
  if (error != std::errc() || stop != end || count <= 0) return std::nullopt;
  return std::chrono::microseconds(count);
}

}  // namespace platform
