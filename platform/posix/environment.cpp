#include "platform/environment.h"

#include <cstdlib>

namespace platform {

std::optional<std::string> find_environment_variable(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) return std::nullopt;
  const char* value = std::getenv(name.c_str());
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::vector<std::filesystem::path> configuration_folders() {
  std::vector<std::filesystem::path> folders;
  const std::filesystem::path settings = find_environment_variable("XDG_CONFIG_HOME").value_or("");
  const std::filesystem::path home = find_environment_variable("HOME").value_or("");
  // XDG: "All paths must be absolute", and others are ignored.
  if (settings.is_absolute()) {
    folders.push_back(settings);
  } else if (home.is_absolute()) {
    folders.push_back(home / ".config");
  }
  folders.emplace_back("/etc");
  return folders;
}

}  // namespace platform
