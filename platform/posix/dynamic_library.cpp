#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <link.h>

namespace platform {

namespace {

std::string last_error() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown error of the dynamic linker";
}

}  // namespace

dynamic_library::dynamic_library(const std::filesystem::path& path)
    : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(last_error());
}

dynamic_library::~dynamic_library() {
  dlclose(handle_);
}

void* dynamic_library::symbol(const char* name) const {
  void* found = dlsym(handle_, name);
  if (found == nullptr) throw std::runtime_error(last_error());
  return found;
}

std::filesystem::path loaded_library_file(const char* name) {
  void* const handle = dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return {};
  link_map* map = nullptr;
  std::filesystem::path file;
  if (dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr) file = map->l_name;
  dlclose(handle);
  return file;
}

void* find_loaded_symbol(const char* library, const char* name) {
  void* const handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return nullptr;
  void* const found = dlsym(handle, name);
  dlclose(handle);
  return found;
}

}  // namespace platform
