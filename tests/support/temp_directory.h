// temp_directory.h - a directory of a test's own.
#pragma once

#include <filesystem>
#include <string_view>

namespace test_support {

// A fresh, empty directory; it goes away with all that is in it.
class temp_directory {
 public:
  temp_directory();
  temp_directory(const temp_directory&) = delete;
  temp_directory& operator=(const temp_directory&) = delete;
  ~temp_directory();

  const std::filesystem::path& path() const { return path_; }

  // Writes a file below the directory (UTF-8 name) with the directories on its
  // way, and returns its path.
  std::filesystem::path write(std::string_view name, std::string_view bytes) const;

 private:
  std::filesystem::path path_;
};

// Makes a directory the working directory while it lives.
class working_directory {
 public:
  explicit working_directory(const std::filesystem::path& path);
  working_directory(const working_directory&) = delete;
  working_directory& operator=(const working_directory&) = delete;
  ~working_directory();

 private:
  std::filesystem::path before_;
};

}  // namespace test_support
