#include "tests/support/system_errors.h"

#include "platform/windows/system.h"

namespace test_support {

const std::errc opening_a_directory = std::errc::permission_denied;
const std::errc path_through_a_file = std::errc::no_such_file_or_directory;
const std::errc replacing_a_directory = std::errc::permission_denied;

namespace port_error {
const int missing = ERROR_FILE_NOT_FOUND;
const int busy = ERROR_ACCESS_DENIED;
const int not_serial = ERROR_INVALID_FUNCTION;
const int other = ERROR_GEN_FAILURE;
}  // namespace port_error

}  // namespace test_support
