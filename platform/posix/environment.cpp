#include "platform/environment.h"

#include <cstdlib>

namespace platform {

std::optional<std::string> find_environment_variable(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) return std::nullopt;
  const char* value = std::getenv(name.c_str());
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

}  // namespace platform
