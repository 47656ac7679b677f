// serial_wait.h - waiting for events, and so moving their reads on.
#pragma once

#include <memory>
#include <span>

#include "platform/posix/serial_event.h"
#include "platform/serial_api.h"

namespace platform::serial {

// Waits until one of `events` is set: the index of the first that is,
// WAIT_TIMEOUT, or WAIT_FAILED. Sets the last error as GetLastError() says.
DWORD wait_for_any(std::span<const std::shared_ptr<event>> events, DWORD milliseconds);

}  // namespace platform::serial
