// loaded_library.h - the libraries that this process has loaded.
#pragma once

#include <filesystem>
#include <optional>

namespace test_support {

// The file of the library that was loaded under `name`, a bare file name. Nothing
// if there is none.
std::optional<std::filesystem::path> loaded_library(const char* name);

}  // namespace test_support
