#include "tests/support/unopenable_file.h"

#include <system_error>

#include "platform/windows/system.h"

namespace test_support {

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
