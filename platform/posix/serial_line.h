// serial_line.h - a device control block in terms of a terminal line, after
// termios(3) and ioctl_tty(2). Errors are errno values, 0 for none.
//
// Apart from the rest, because the kernel's termios2, which alone takes any
// speed, cannot be included beside the C library's <termios.h>.
#pragma once

#include "platform/serial_api.h"

namespace platform::serial {

// Makes the line hand over bytes as they come, waiting for no line end and
// for no carrier. ENOTTY for what is not a terminal.
DWORD make_line_raw(int descriptor);

DWORD read_line_settings(int descriptor, DCB& dcb);

// EINVAL, with the line as it was, if it cannot hold the settings.
DWORD write_line_settings(int descriptor, const DCB& dcb);

}  // namespace platform::serial
