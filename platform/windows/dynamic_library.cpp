#include "platform/dynamic_library.h"

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace platform {

namespace {

std::runtime_error last_error(const std::string& what) {
  const DWORD code = GetLastError();
  return std::runtime_error(what + ": " + describe_system_error(code));
}

}  // namespace

dynamic_library::dynamic_library(const std::filesystem::path& path) {
  // With this flag, which wants an absolute path, the library's own directory
  // takes the place of the program's in the search for what it needs.
  const std::wstring file = std::filesystem::absolute(path).make_preferred().native();
  handle_ = LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (handle_ == nullptr) throw last_error(to_utf8(file));
}

dynamic_library::~dynamic_library() {
  FreeLibrary(static_cast<HMODULE>(handle_));
}

void* dynamic_library::symbol(const char* name) const {
  const FARPROC found = GetProcAddress(static_cast<HMODULE>(handle_), name);
  if (found == nullptr) throw last_error(name);
  return reinterpret_cast<void*>(found);
}

std::filesystem::path loaded_library_file(const char* name) {
  const HMODULE module = GetModuleHandleW(to_wide(name).c_str());
  if (module == nullptr) return {};
  std::wstring file(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetModuleFileNameW(module, file.data(), static_cast<DWORD>(file.size()));
    if (size < file.size()) return file.substr(0, size);
    file.resize(file.size() * 2);
  }
}

void* find_loaded_symbol(const char* library, const char* name) {
  const HMODULE module = GetModuleHandleW(to_wide(library).c_str());
  return module == nullptr ? nullptr : reinterpret_cast<void*>(GetProcAddress(module, name));
}

}  // namespace platform
