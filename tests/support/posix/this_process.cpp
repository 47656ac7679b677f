#include "tests/support/this_process.h"

#include <dlfcn.h>
#include <link.h>
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

std::optional<std::filesystem::path> loaded_library(const char* name) {
  void* const library = dlopen(name, RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return std::nullopt;
  const link_map* map = nullptr;
  const bool known = dlinfo(library, RTLD_DI_LINKMAP, &map) == 0;
  std::optional<std::filesystem::path> file;
  if (known) file = map->l_name;
  dlclose(library);
  return file;
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
