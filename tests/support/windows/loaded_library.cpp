#include "tests/support/loaded_library.h"

#include <string>

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace test_support {

std::optional<std::filesystem::path> loaded_library(const char* name) {
  const HMODULE library = GetModuleHandleW(platform::to_wide(name).c_str());
  if (library == nullptr) return std::nullopt;
  std::wstring path(32767, L'\0');  // the longest path there is
  path.resize(GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace test_support
