// Paths, errors and files as this system has them.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "tests/support/paths.h"
#include "tests/support/system_errors.h"
#include "tests/support/unopenable_file.h"

namespace test_support {

const char* const drive = "";

std::filesystem::path name_without_text() {
  return "\xFF.json";
}

const std::errc opening_a_directory = std::errc::is_a_directory;
const std::errc path_through_a_file = std::errc::not_a_directory;
const std::errc replacing_a_directory = std::errc::is_a_directory;

namespace port_error {
const int missing = ENOENT;
const int busy = EBUSY;
const int not_serial = ENOTTY;
const int other = EIO;
}  // namespace port_error

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
