// serial_api.h - the serial transport's operations where Win32 has them: the
// names that platform/serial_api.h declares for other systems.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace platform::serial {
using ::BYTE;
using ::COMSTAT;
using ::DCB;
using ::DWORD;
using ::HANDLE;
using ::OVERLAPPED;
}  // namespace platform::serial
