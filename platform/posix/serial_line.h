// serial_line.h - a device control block in terms of a terminal line, after
// termios(3) and ioctl_tty(2). Errors are errno values, 0 for none.
//
// Apart from the rest, because the kernel's termios2, which alone takes any
// speed, cannot be included beside the C library's <termios.h>.
#pragma once

#include "platform/serial_api.h"

namespace platform::serial {

// What a device control block holds and a terminal line does not: kept here so
// that it reads back as it was set.
struct line_memory {
  DWORD fTXContinueOnXoff = 0;
  DWORD fDtrControl = DTR_CONTROL_ENABLE;  // of a device without modem lines
  DWORD fRtsControl = RTS_CONTROL_ENABLE;  // likewise
  WORD XonLim = 0;
  WORD XoffLim = 0;
  char ErrorChar = 0;
  char EofChar = 0;
  char EvtChar = 0;
};

// Makes the line hand over bytes as they come, waiting for no line end and
// for no carrier. ENOTTY for what is not a terminal.
DWORD make_line_raw(int descriptor);

DWORD read_line_settings(int descriptor, const line_memory& memory, DCB& dcb);

// EINVAL, with the line as it was, if it cannot hold the settings.
DWORD write_line_settings(int descriptor, line_memory& memory, const DCB& dcb);

}  // namespace platform::serial
