// fake_plugin.h - where the plug-ins made for tests are.
#pragma once

#include <filesystem>

#include "platform/file.h"

namespace veltra::host {

// Plays a script: see fake_plugin.cpp.
inline std::filesystem::path fake_plugin_file() {
  return platform::path_from_utf8(VELTRA_FAKE_PLUGIN);
}

// A library that exports nothing.
inline std::filesystem::path empty_plugin_file() {
  return platform::path_from_utf8(VELTRA_EMPTY_PLUGIN);
}

}  // namespace veltra::host
