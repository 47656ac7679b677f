// serial_wait.h - waiting for events, and so moving their reads on.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "platform/posix/serial_event.h"
#include "platform/serial_api.h"

namespace platform::serial {

// The receiver waits for its read and for the order to end.
inline constexpr std::size_t max_awaited_events = 2;

// Waits until one of `events` (at most max_awaited_events) is set: the index of the
// first that is, or WAIT_FAILED. Sets the last error as GetLastError() says.
DWORD wait_for_any(std::span<const std::shared_ptr<event>> events);

}  // namespace platform::serial
