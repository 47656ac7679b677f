// service_manager.h - what a service reports to the manager that started it.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace platform {

// Sends `state` ("READY=1", "WATCHDOG=1", "STOPPING=1") to the service manager as
// sd_notify(3) describes: one datagram to the socket in $NOTIFY_SOCKET. Returns false if this
// is not a service that reports, as never on Windows, or it could not be sent. Any thread.
bool notify_service_manager(std::string_view state);

// How often the manager wants to hear "WATCHDOG=1" at least ($WATCHDOG_USEC); none: never.
std::optional<std::chrono::microseconds> watchdog_interval();

}  // namespace platform
