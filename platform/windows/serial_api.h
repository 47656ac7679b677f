// serial_api.h - the serial transport's operations where Win32 has them: the
// names that platform/serial_api.h declares for other systems, types in the same
// namespace, functions and constants Win32's own, except for one.
#pragma once

#include "platform/windows/system.h"

namespace platform::serial {
using ::BOOL;
using ::BYTE;
using ::COMSTAT;
using ::DCB;
using ::DWORD;
using ::HANDLE;
using ::OVERLAPPED;
using ::WORD;

// Creates an event as ::CreateEventA does, but one of the caller's own: to the system
// a name means one event for all programs of the session, and a port closed in one of
// them would end the receiving in every other. The first has the name, as long as it
// lives, and any other has none. A caller that sees both names this one in full.
HANDLE CreateEventA(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    const char* name);
}  // namespace platform::serial
