// Paths, errors and files as this system has them.
#include <system_error>

#include "platform/windows/system.h"
#include "tests/support/paths.h"
#include "tests/support/system_errors.h"
#include "tests/support/unopenable_file.h"

namespace test_support {

const char* const drive = "C:";

std::filesystem::path name_without_text() {
  return L"\xD800.json";  // half of a surrogate pair
}

const std::errc opening_a_directory = std::errc::permission_denied;
const std::errc path_through_a_file = std::errc::no_such_file_or_directory;
const std::errc replacing_a_directory = std::errc::permission_denied;

namespace port_error {
const int missing = ERROR_FILE_NOT_FOUND;
const int busy = ERROR_ACCESS_DENIED;
const int not_serial = ERROR_INVALID_FUNCTION;
const int other = ERROR_GEN_FAILURE;
}  // namespace port_error

// What one program has open without sharing it is closed to all others.
unopenable_file::unopenable_file(const std::filesystem::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "CreateFile");
  }
  handle_ = reinterpret_cast<std::intptr_t>(file);
}

unopenable_file::~unopenable_file() {
  CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

}  // namespace test_support
