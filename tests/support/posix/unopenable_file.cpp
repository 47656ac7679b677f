#include "tests/support/unopenable_file.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace test_support {

// A local socket exists and can be opened by nobody, not even by root.
unopenable_file::unopenable_file(const std::filesystem::path& path)
    : handle_(socket(AF_UNIX, SOCK_STREAM, 0)) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (bind(static_cast<int>(handle_), reinterpret_cast<const sockaddr*>(&address),
           sizeof address) != 0) {
    const int error = errno;
    close(static_cast<int>(handle_));
    throw std::system_error(error, std::generic_category(), "bind");
  }
}

unopenable_file::~unopenable_file() {
  close(static_cast<int>(handle_));
}

}  // namespace test_support
