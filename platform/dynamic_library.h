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

}  // namespace platform
