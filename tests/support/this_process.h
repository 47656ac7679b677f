// this_process.h - what tests ask about and do to the process that they run in.
#pragma once

#include <cstddef>
#include <cstdio>

namespace test_support {

// True if a process ended by abort(). For EXPECT_EXIT; `status` is the system's report of
// the process's end.
bool aborted(int status);

// Bytes in use on the heap, of the C library's count; 0 where a sanitizer has
// taken the heap over.
std::size_t heap_bytes_in_use();

// Redirects `stream` to where `target` leads. Returns what restore_stream() needs, -1 on
// failure.
int redirect_stream(std::FILE* stream, std::FILE* target);
void restore_stream(std::FILE* stream, int before);

}  // namespace test_support
