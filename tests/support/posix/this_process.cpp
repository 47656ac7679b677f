#include "tests/support/this_process.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace test_support {

bool aborted(int status) {
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

std::size_t heap_bytes_in_use() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

int redirect_stream(std::FILE* stream, std::FILE* target) {
  const int before = dup(fileno(stream));
  return dup2(fileno(target), fileno(stream)) < 0 ? -1 : before;
}

void restore_stream(std::FILE* stream, int before) {
  dup2(before, fileno(stream));
  close(before);
}

}  // namespace test_support
