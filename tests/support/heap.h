// heap.h - how much the C library has given out.
#pragma once

#include <cstddef>

namespace test_support {

// Bytes in use on the heap, of the C library's count; 0 where a sanitizer has
// taken the heap over.
std::size_t heap_bytes_in_use();

}  // namespace test_support
