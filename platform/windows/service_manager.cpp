#include "platform/service_manager.h"

namespace platform {

bool notify_service_manager(std::string_view /*state*/) {
  return false;
}

std::optional<std::chrono::microseconds> watchdog_interval() {
  return std::nullopt;
}

}  // namespace platform
