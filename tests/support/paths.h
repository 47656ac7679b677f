// paths.h - how this system writes paths.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace test_support {

// What is before the first separator of an absolute path: a drive, or nothing.
extern const char* const drive;

// A file name that is not Unicode text, with the extension ".json".
std::filesystem::path name_without_text();

// `text` with the separators that the system itself puts into paths.
inline std::string native(std::string_view text) {
  std::string result(text);
  for (char& each : result) {
    if (each == '/') each = static_cast<char>(std::filesystem::path::preferred_separator);
  }
  return result;
}

}  // namespace test_support
