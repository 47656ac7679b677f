// serial_api.h - the serial transport's operations where Win32 has them: the
// names that platform/serial_api.h declares for other systems, types in the same
// namespace, functions and constants Win32's own.
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
}  // namespace platform::serial
