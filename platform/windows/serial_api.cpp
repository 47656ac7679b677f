#include "platform/windows/serial_api.h"

namespace platform::serial {

HANDLE CreateEventA(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    const char* name) {
  const HANDLE event = ::CreateEventA(security, manual_reset, initial_state, name);
  if (event == nullptr || name == nullptr || GetLastError() != ERROR_ALREADY_EXISTS) return event;
  CloseHandle(event);
  return ::CreateEventA(security, manual_reset, initial_state, nullptr);
}

}  // namespace platform::serial
