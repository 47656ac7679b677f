#include "tests/support/system_errors.h"

#include <cerrno>

namespace test_support {

const std::errc opening_a_directory = std::errc::is_a_directory;
const std::errc path_through_a_file = std::errc::not_a_directory;
const std::errc replacing_a_directory = std::errc::is_a_directory;

namespace port_error {
const int missing = ENOENT;
const int busy = EBUSY;
const int not_serial = ENOTTY;
const int other = EIO;
}  // namespace port_error

}  // namespace test_support
