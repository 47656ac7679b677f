// What the plug-in and the decoder need of other libraries.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/file.h"
#include "platform/windows/system.h"
#include "tests/support/library_file.h"
#include "tests/support/plugin_library.h"

namespace {

namespace fs = std::filesystem;

fs::path system_directory() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size())));
  return path;
}

void expect_all_found(const fs::path& library) {
  const auto needed = test_support::read_library_file(library).needed;
  EXPECT_FALSE(needed.empty());
  for (const std::string& name : needed) {
    EXPECT_TRUE(fs::exists(library.parent_path() / name) || fs::exists(system_directory() / name))
        << library << " needs " << name;
  }
}

TEST(library_test, the_plugin_needs_only_what_stands_beside_it_and_the_system) {
  expect_all_found(platform::path_from_utf8(test_support::plugin_file()));
}

TEST(library_test, the_decoder_needs_only_what_stands_beside_it_and_the_system) {
  expect_all_found(VELTRA_DECODER_FILE);
}

}  // namespace
