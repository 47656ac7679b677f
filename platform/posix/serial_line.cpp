#include "platform/posix/serial_line.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <optional>

namespace platform::serial {

namespace {

// How far the device may be from the speed asked for, as a divisor: 2.5 %. Both
// ends may be off by about as much before a receiver loses the frame.
constexpr DWORD speed_tolerance_divisor = 40;

DWORD last_errno() {
  return static_cast<DWORD>(errno);
}

// Whether the line has modem lines, and so is more than a pipe (a
// pseudo-terminal, which has no framing and no speed either).
bool has_modem_lines(int descriptor, int& lines) {
  return ioctl(descriptor, TIOCMGET, &lines) == 0;
}

void set_raw(termios2& line) {
  // A break is not data. Bytes with parity errors pass as they came: a decoder has
  // better means to find damage than a NUL in their place.
  line.c_iflag = (line.c_iflag & (IXON | IXOFF)) | IGNBRK;
  line.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  line.c_lflag = 0;
  line.c_cflag |= CREAD | CLOCAL;
  // Without a byte a read gives EAGAIN, so that 0 is left for a hang-up.
  line.c_cc[VMIN] = 1;
  line.c_cc[VTIME] = 0;
}

BYTE size_of(const termios2& line) {
  switch (line.c_cflag & CSIZE) {
    case CS5:
      return 5;
    case CS6:
      return 6;
    case CS7:
      return 7;
    default:
      return 8;
  }
}

std::optional<tcflag_t> size_flag(BYTE data_bits) {
  switch (data_bits) {
    case 5:
      return CS5;
    case 6:
      return CS6;
    case 7:
      return CS7;
    case 8:
      return CS8;
    default:
      return std::nullopt;
  }
}

BYTE parity_of(const termios2& line) {
  if ((line.c_cflag & PARENB) == 0) return NOPARITY;
  const bool odd = (line.c_cflag & PARODD) != 0;
  if ((line.c_cflag & CMSPAR) != 0) return odd ? MARKPARITY : SPACEPARITY;
  return odd ? ODDPARITY : EVENPARITY;
}

std::optional<tcflag_t> parity_flags(BYTE parity) {
  switch (parity) {
    case NOPARITY:
      return 0;
    case ODDPARITY:
      return PARENB | PARODD;
    case EVENPARITY:
      return PARENB;
    case MARKPARITY:
      return PARENB | PARODD | CMSPAR;
    case SPACEPARITY:
      return PARENB | CMSPAR;
    default:
      return std::nullopt;
  }
}

std::optional<tcflag_t> stop_flag(BYTE stop_bits) {
  if (stop_bits == ONESTOPBIT) return 0;
  if (stop_bits == TWOSTOPBITS) return CSTOPB;
  return std::nullopt;
}

// What a line has no means for. RTS handshake and CTS go together in termios.
bool has_flow_beyond_termios(const DCB& dcb) {
  return dcb.fOutxDsrFlow != 0 || dcb.fDsrSensitivity != 0 ||
         dcb.fDtrControl > DTR_CONTROL_ENABLE || dcb.fRtsControl == RTS_CONTROL_TOGGLE ||
         (dcb.fRtsControl == RTS_CONTROL_HANDSHAKE) != (dcb.fOutxCtsFlow != 0);
}

constexpr tcflag_t framing_mask = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS;

// `before` with the settings of `dcb`, or nothing if no line can hold them.
std::optional<termios2> line_with(const termios2& before, const DCB& dcb) {
  const auto size = size_flag(dcb.ByteSize);
  const auto parity = parity_flags(dcb.Parity);
  const auto stop = stop_flag(dcb.StopBits);
  if (!size || !parity || !stop || dcb.BaudRate == 0 || dcb.fBinary == 0 || dcb.fErrorChar != 0 ||
      dcb.fNull != 0 || dcb.fAbortOnError != 0 || has_flow_beyond_termios(dcb)) {
    return std::nullopt;
  }
  termios2 line = before;
  set_raw(line);
  line.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF);
  if (dcb.fOutX != 0) line.c_iflag |= IXON;
  if (dcb.fInX != 0) line.c_iflag |= IXOFF;
  line.c_cflag &= ~(framing_mask | CBAUD | static_cast<tcflag_t>(CIBAUD));
  line.c_cflag |= *size | *parity | *stop | BOTHER | (static_cast<tcflag_t>(BOTHER) << IBSHIFT);
  if (dcb.fOutxCtsFlow != 0) line.c_cflag |= CRTSCTS;
  line.c_ispeed = dcb.BaudRate;
  line.c_ospeed = dcb.BaudRate;
  line.c_cc[VSTART] = static_cast<cc_t>(dcb.XonChar);
  line.c_cc[VSTOP] = static_cast<cc_t>(dcb.XoffChar);
  return line;
}

// A driver changes what it cannot do and reports success; only reading back shows it.
bool holds(const termios2& actual, const termios2& wanted) {
  const auto difference = actual.c_ospeed > wanted.c_ospeed ? actual.c_ospeed - wanted.c_ospeed
                                                            : wanted.c_ospeed - actual.c_ospeed;
  return (actual.c_cflag & framing_mask) == (wanted.c_cflag & framing_mask) &&
         difference <= wanted.c_ospeed / speed_tolerance_divisor;
}

DWORD switch_modem_line(int descriptor, int line, bool on) {
  return ioctl(descriptor, on ? TIOCMBIS : TIOCMBIC, &line) == 0 ? 0 : last_errno();
}

// Speed and framing are verified where there is a physical line to have them.
DWORD write_modem_lines(int descriptor, const DCB& dcb) {
  const DWORD error =
      switch_modem_line(descriptor, TIOCM_DTR, dcb.fDtrControl == DTR_CONTROL_ENABLE);
  if (error != 0 || dcb.fRtsControl == RTS_CONTROL_HANDSHAKE) return error;
  return switch_modem_line(descriptor, TIOCM_RTS, dcb.fRtsControl == RTS_CONTROL_ENABLE);
}

DWORD verify(int descriptor, const termios2& wanted) {
  termios2 actual{};
  if (ioctl(descriptor, TCGETS2, &actual) != 0) return last_errno();
  return holds(actual, wanted) ? 0 : EINVAL;
}

void remember(line_memory& memory, const DCB& dcb) {
  memory.fTXContinueOnXoff = dcb.fTXContinueOnXoff;
  memory.fDtrControl = dcb.fDtrControl;
  memory.fRtsControl = dcb.fRtsControl;
  memory.XonLim = dcb.XonLim;
  memory.XoffLim = dcb.XoffLim;
  memory.ErrorChar = dcb.ErrorChar;
  memory.EofChar = dcb.EofChar;
  memory.EvtChar = dcb.EvtChar;
}

}  // namespace

DWORD make_line_raw(int descriptor) {
  termios2 line{};
  if (ioctl(descriptor, TCGETS2, &line) != 0) return last_errno();
  set_raw(line);
  return ioctl(descriptor, TCSETS2, &line) == 0 ? 0 : last_errno();
}

DWORD read_line_settings(int descriptor, const line_memory& memory, DCB& dcb) {
  termios2 line{};
  if (ioctl(descriptor, TCGETS2, &line) != 0) return last_errno();
  int modem_lines = 0;
  const bool physical = has_modem_lines(descriptor, modem_lines);
  const bool handshake = (line.c_cflag & CRTSCTS) != 0;

  dcb = {};
  dcb.DCBlength = sizeof(DCB);
  dcb.fBinary = 1;
  dcb.BaudRate = line.c_ospeed;
  dcb.ByteSize = size_of(line);
  dcb.Parity = parity_of(line);
  dcb.fParity = dcb.Parity != NOPARITY ? 1 : 0;
  dcb.StopBits = (line.c_cflag & CSTOPB) != 0 ? TWOSTOPBITS : ONESTOPBIT;
  dcb.fOutX = (line.c_iflag & IXON) != 0 ? 1 : 0;
  dcb.fInX = (line.c_iflag & IXOFF) != 0 ? 1 : 0;
  dcb.fOutxCtsFlow = handshake ? 1 : 0;
  const DWORD rts =
      physical ? ((modem_lines & TIOCM_RTS) != 0 ? RTS_CONTROL_ENABLE : RTS_CONTROL_DISABLE)
               : memory.fRtsControl;
  const DWORD dtr =
      physical ? ((modem_lines & TIOCM_DTR) != 0 ? DTR_CONTROL_ENABLE : DTR_CONTROL_DISABLE)
               : memory.fDtrControl;
  dcb.fRtsControl = (handshake ? RTS_CONTROL_HANDSHAKE : rts) & 3;
  dcb.fDtrControl = dtr & 3;
  dcb.XonChar = static_cast<char>(line.c_cc[VSTART]);
  dcb.XoffChar = static_cast<char>(line.c_cc[VSTOP]);
  dcb.fTXContinueOnXoff = memory.fTXContinueOnXoff & 1;
  dcb.XonLim = memory.XonLim;
  dcb.XoffLim = memory.XoffLim;
  dcb.ErrorChar = memory.ErrorChar;
  dcb.EofChar = memory.EofChar;
  dcb.EvtChar = memory.EvtChar;
  return 0;
}

DWORD write_line_settings(int descriptor, line_memory& memory, const DCB& dcb) {
  termios2 before{};
  if (ioctl(descriptor, TCGETS2, &before) != 0) return last_errno();
  const auto wanted = line_with(before, dcb);
  if (!wanted) return EINVAL;
  if (ioctl(descriptor, TCSETS2, &*wanted) != 0) return last_errno();
  int modem_lines = 0;
  if (has_modem_lines(descriptor, modem_lines)) {
    DWORD error = verify(descriptor, *wanted);
    if (error == 0) error = write_modem_lines(descriptor, dcb);
    if (error != 0) {
      ioctl(descriptor, TCSETS2, &before);
      return error;
    }
  }
  remember(memory, dcb);
  return 0;
}

}  // namespace platform::serial
