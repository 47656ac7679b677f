// serial_handles.h - the objects behind handles, and the last error.
#pragma once

#include <memory>

#include "platform/posix/serial_event.h"
#include "platform/posix/serial_port.h"
#include "platform/serial_api.h"

namespace platform::serial {

// Makes a handle, with a value that was never used before. Any thread, like all
// of these.
HANDLE add_handle(std::shared_ptr<event> object);
HANDLE add_handle(std::shared_ptr<port> object);

// The object behind the handle, or null if it is closed or is of another
// kind. The reference keeps the object, whoever closes the handle meanwhile.
std::shared_ptr<event> find_event(HANDLE handle);
std::shared_ptr<port> find_port(HANDLE handle);

// Forgets the handle; false if there was none. A port's read under way ends.
bool remove_handle(HANDLE handle);

// Sets the calling thread's last error.
void set_last_error(DWORD error);

}  // namespace platform::serial
