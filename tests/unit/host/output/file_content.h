// file_content.h - what stands in a directory, for tests only.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/file.h"

namespace veltra::host {

inline std::string content(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The names in a directory, in order.
inline std::vector<std::string> names_in(const std::filesystem::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.push_back(platform::path_to_utf8(entry.path().filename()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace veltra::host
