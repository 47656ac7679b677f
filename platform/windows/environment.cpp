#include "platform/environment.h"

#include <cstdlib>

#include "platform/file.h"
#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace platform {

namespace {

// The system's own list. It also has the variables that are set and empty, which
// the C library leaves out, and those set behind its back.
std::optional<std::wstring> find_in_system(const std::wstring& name) {
  std::wstring value;
  for (;;) {
    const auto room = static_cast<DWORD>(value.size());
    SetLastError(ERROR_SUCCESS);  // an empty value is not a failure and leaves it alone
    const DWORD size =
        GetEnvironmentVariableW(name.c_str(), room == 0 ? nullptr : value.data(), room);
    // With room enough the size is that of the value, without it that of the room
    // needed, the NUL included.
    if (size == 0) {
      return GetLastError() == ERROR_ENVVAR_NOT_FOUND ? std::nullopt
                                                      : std::optional<std::wstring>(L"");
    }
    if (size < room) {
      value.resize(size);
      return value;
    }
    value.resize(size);
  }
}

}  // namespace

std::optional<std::string> find_environment_variable(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) return std::nullopt;
  const std::wstring wide = to_wide(name);
  if (const wchar_t* value = _wgetenv(wide.c_str())) return to_utf8(value);
  if (const auto value = find_in_system(wide)) return to_utf8(*value);
  return std::nullopt;
}

std::vector<std::filesystem::path> configuration_folders() {
  std::vector<std::filesystem::path> folders;
  for (const char* const name : {"APPDATA", "ProgramData"}) {
    const std::string folder = find_environment_variable(name).value_or("");
    if (!folder.empty()) folders.push_back(path_from_utf8(folder));
  }
  return folders;
}

}  // namespace platform
