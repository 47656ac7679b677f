// dynamic_library.h - loading a shared library by its path.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace platform {

// A shared library that stays loaded while the object lives. Functions taken
// from it must not be called afterwards.
class dynamic_library {
 public:
  // Loads the library with everything that it needs. Throws std::runtime_error
  // with the system's own description.
  //
  // A library that it needs by name is searched for
  //  - on POSIX in LD_LIBRARY_PATH, then where the library says itself (ld.so(8)):
  //    for the plug-in that is its own directory;
  //  - on Windows among the libraries that the process has loaded, then in the
  //    library's own directory, in the system's, in the working directory and in
  //    PATH. So another decoding library takes the place of the file beside the
  //    plug-in, or is loaded before; in PATH it is found only if no file is beside it.
  explicit dynamic_library(const std::filesystem::path& path);
  dynamic_library(const dynamic_library&) = delete;
  dynamic_library& operator=(const dynamic_library&) = delete;
  ~dynamic_library();

  // Returns the function exported as `name`. Throws std::runtime_error if there
  // is none.
  template <typename Function>
  Function function(const char* name) const {
    return reinterpret_cast<Function>(symbol(name));
  }

 private:
  void* symbol(const char* name) const;

  void* handle_;
};

// The file of a shared library that this process has loaded, whoever asked for it: `name`
// is its soname, or on Windows its file name. Empty if there is none. Any thread.
std::filesystem::path loaded_library_file(const char* name);

// A function of that library, or null if there is no such library or function. Valid as
// long as the library stays loaded. Any thread.
void* find_loaded_symbol(const char* library, const char* name);
template <typename Function>
Function find_loaded_function(const char* library, const char* name) {
  return reinterpret_cast<Function>(find_loaded_symbol(library, name));
}

}  // namespace platform
