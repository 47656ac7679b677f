#include "tests/support/loaded_library.h"

#include <dlfcn.h>
#include <link.h>

namespace test_support {

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

}  // namespace test_support
