#include "tests/support/heap.h"

#include <malloc.h>

#include <stdexcept>

namespace test_support {

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

}  // namespace test_support
