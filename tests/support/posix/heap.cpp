#include "tests/support/heap.h"

#include <malloc.h>

namespace test_support {

std::size_t heap_bytes_in_use() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace test_support
