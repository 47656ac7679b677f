// small_file_system.h - a real file system of a test's own, to fill or to lock.
#pragma once

#include <cstddef>
#include <filesystem>

namespace test_support {

// Mounts a file system in memory at `directory` while it lives, seen by this
// process only, if the process may do that.
class small_file_system {
 public:
  // `size`: bytes, in whole pages.
  small_file_system(const std::filesystem::path& directory, std::size_t size);
  small_file_system(const small_file_system&) = delete;
  small_file_system& operator=(const small_file_system&) = delete;
  ~small_file_system();

  // False where mounting is not allowed; then nothing was changed.
  bool mounted() const { return mounted_; }

  // From here on nothing can be changed in it. Throws std::system_error.
  void make_read_only();

 private:
  std::filesystem::path directory_;
  bool mounted_ = false;
};

}  // namespace test_support
