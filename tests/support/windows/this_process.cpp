#include "tests/support/this_process.h"

#include <io.h>
#include <malloc.h>

#include <stdexcept>
#include <string>

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace test_support {

bool aborted(int status) {
  return status == 3;  // the C library's own number for abort()
}

std::size_t heap_bytes_in_use() {
  std::size_t bytes = 0;
  _HEAPINFO entry = {};
  int result = 0;
  while ((result = _heapwalk(&entry)) == _HEAPOK) {
    if (entry._useflag == _USEDENTRY) bytes += entry._size;
  }
  if (result != _HEAPEND) throw std::runtime_error("the heap is damaged");
  return bytes;
}

std::optional<std::filesystem::path> loaded_library(const char* name) {
  const HMODULE library = GetModuleHandleW(platform::to_wide(name).c_str());
  if (library == nullptr) return std::nullopt;
  std::wstring path(32767, L'\0');  // the longest path there is
  path.resize(GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

int redirect_stream(std::FILE* stream, std::FILE* target) {
  const int before = _dup(_fileno(stream));
  return _dup2(_fileno(target), _fileno(stream)) < 0 ? -1 : before;
}

void restore_stream(std::FILE* stream, int before) {
  _dup2(before, _fileno(stream));
  _close(before);
}

}  // namespace test_support
