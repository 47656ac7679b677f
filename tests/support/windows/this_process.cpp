#include "tests/support/this_process.h"

#include <io.h>
#include <malloc.h>

#include <stdexcept>

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

int redirect_stream(std::FILE* stream, std::FILE* target) {
  const int before = _dup(_fileno(stream));
  return _dup2(_fileno(target), _fileno(stream)) < 0 ? -1 : before;
}

void restore_stream(std::FILE* stream, int before) {
  _dup2(before, _fileno(stream));
  _close(before);
}

}  // namespace test_support
