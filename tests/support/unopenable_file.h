// unopenable_file.h - a file that is there and that nobody can open.
#pragma once

#include <cstdint>
#include <filesystem>

namespace test_support {

// Makes such a file, which is one while the object lives. Throws std::system_error.
class unopenable_file {
 public:
  explicit unopenable_file(const std::filesystem::path& path);
  unopenable_file(const unopenable_file&) = delete;
  unopenable_file& operator=(const unopenable_file&) = delete;
  ~unopenable_file();

 private:
  std::intptr_t handle_;
};

}  // namespace test_support
