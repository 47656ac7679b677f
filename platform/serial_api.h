// serial_api.h - the Win32 serial and synchronisation operations that the serial
// transport uses, for a system without Win32.
//
// Names, types and results are those of Win32 as published in its reference
// ("Communications Resources", "Synchronization"), cut down to what a receiver
// needs; what each function must do here is said below. On Windows
// platform/windows/serial_api.h gives the same names, and the build chooses
// between the two.
//
// Every function may run on any thread. A function that fails returns 0 (or the
// value named) and leaves the reason to GetLastError(). A handle that one thread
// closes while another is inside a function with it stays valid until that
// function returns. Handle values are never used twice.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform::serial {

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using HANDLE = void*;

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(std::intptr_t{-1});

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_FLAG_OVERLAPPED = 0x40000000;

inline constexpr DWORD PURGE_TXABORT = 1;
inline constexpr DWORD PURGE_RXABORT = 2;
inline constexpr DWORD PURGE_TXCLEAR = 4;
inline constexpr DWORD PURGE_RXCLEAR = 8;

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

// The two errors that are not errno values: a read has started and is not over,
// and the result of such a read was asked for too early.
inline constexpr DWORD ERROR_IO_INCOMPLETE = 996;
inline constexpr DWORD ERROR_IO_PENDING = 997;

// Values of DCB::Parity, DCB::StopBits, DCB::fDtrControl and DCB::fRtsControl.
inline constexpr BYTE NOPARITY = 0;
inline constexpr BYTE ODDPARITY = 1;
inline constexpr BYTE EVENPARITY = 2;
inline constexpr BYTE MARKPARITY = 3;
inline constexpr BYTE SPACEPARITY = 4;
inline constexpr BYTE ONESTOPBIT = 0;
inline constexpr BYTE ONE5STOPBITS = 1;
inline constexpr BYTE TWOSTOPBITS = 2;
inline constexpr DWORD DTR_CONTROL_DISABLE = 0;
inline constexpr DWORD DTR_CONTROL_ENABLE = 1;
inline constexpr DWORD DTR_CONTROL_HANDSHAKE = 2;
inline constexpr DWORD RTS_CONTROL_DISABLE = 0;
inline constexpr DWORD RTS_CONTROL_ENABLE = 1;
inline constexpr DWORD RTS_CONTROL_HANDSHAKE = 2;
inline constexpr DWORD RTS_CONTROL_TOGGLE = 3;

// The device control block: the settings of a line.
struct DCB {
  DWORD DCBlength;  // sizeof(DCB)
  DWORD BaudRate;   // bits per second
  DWORD fBinary : 1;
  DWORD fParity : 1;
  DWORD fOutxCtsFlow : 1;
  DWORD fOutxDsrFlow : 1;
  DWORD fDtrControl : 2;
  DWORD fDsrSensitivity : 1;
  DWORD fTXContinueOnXoff : 1;
  DWORD fOutX : 1;
  DWORD fInX : 1;
  DWORD fErrorChar : 1;
  DWORD fNull : 1;
  DWORD fRtsControl : 2;
  DWORD fAbortOnError : 1;
  DWORD fDummy2 : 17;
  WORD wReserved;
  WORD XonLim;
  WORD XoffLim;
  BYTE ByteSize;  // data bits per character
  BYTE Parity;
  BYTE StopBits;
  char XonChar;
  char XoffChar;
  char ErrorChar;
  char EofChar;
  char EvtChar;
  WORD wReserved1;
};
static_assert(sizeof(DCB) == 28 && offsetof(DCB, XonLim) == 14 && offsetof(DCB, ByteSize) == 18);

// What the driver holds, in bytes.
struct COMSTAT {
  DWORD cbInQue;  // received and not yet read
};

// One read under way. It belongs to the layer from ReadFile() until the read is
// over, and must be all zero before, except for `hEvent`.
struct OVERLAPPED {
  std::uintptr_t Internal;      // 0, the error of the read, or ERROR_IO_PENDING
  std::uintptr_t InternalHigh;  // bytes transferred
  DWORD Offset;                 // not used: a line has no positions
  DWORD OffsetHigh;
  HANDLE hEvent;  // set when the read is over
};

// The calling thread's last error: an errno value, or one of the two above.
// After a wait that another event ended while a read was still under way it is
// ECANCELED, so that the system's description says what became of the read.
// It means something only after a function that failed, or such a wait.
DWORD GetLastError();

// A waitable event. Only events that are reset by hand and start unset exist
// (EINVAL otherwise). `name` is a label: two events with one name are two
// events. Returns null on failure; CloseHandle() frees it.
HANDLE CreateEventA(void* security, BOOL manual_reset, BOOL initial_state, const char* name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);

// Opens the terminal device `path` for this process alone (EBUSY if another
// program, or this one, has it) and puts it into raw mode, so that bytes arrive
// as they are. Speed and framing stay as they were. ENOTTY for what is no
// terminal. Returns INVALID_HANDLE_VALUE on failure. Only access GENERIC_READ |
// GENERIC_WRITE, no sharing, OPEN_EXISTING and FILE_FLAG_OVERLAPPED (EINVAL).
HANDLE CreateFileA(const char* path, DWORD access, DWORD share_mode, void* security,
                   DWORD disposition, DWORD flags, HANDLE template_file);

// Reads and writes the line settings. Setting fails with EINVAL, and leaves the
// line as it was, when the device cannot hold a value, or not the combination:
// 1.5 stop bits, other than 5 to 8 data bits, a speed that the device does not
// come near to, RTS handshake without CTS. A device without modem lines (a
// pseudo-terminal) has no framing either; it accepts what a line could hold.
BOOL GetCommState(HANDLE port, DCB* settings);
BOOL SetCommState(HANDLE port, DCB* settings);

// Ends a read under way and drops what the driver holds, as the PURGE_ bits say.
BOOL PurgeComm(HANDLE port, DWORD flags);

// Reports what the driver holds. `errors` may be null and is set to 0. Fails with
// ENODEV once the device is gone.
BOOL ClearCommError(HANDLE port, DWORD* errors, COMSTAT* status);

// Reads up to `count` bytes. If some are there, stores how many in
// `transferred`, sets the event and returns TRUE. Otherwise the read stays under
// way (FALSE, ERROR_IO_PENDING) and ends inside a wait for its event: with at
// least one byte, with ENODEV when the device vanishes, or when it is cancelled.
// One read at a time for a port (EBUSY). `buffer` and `overlapped` must stay
// until the read is over; closing the port ends it too.
BOOL ReadFile(HANDLE port, void* buffer, DWORD count, DWORD* transferred, OVERLAPPED* overlapped);

// Gives the result of a read: the bytes transferred, or FALSE with the read's
// error. With `wait` it first waits for the read to end, otherwise one under
// way gives ERROR_IO_INCOMPLETE.
BOOL GetOverlappedResult(HANDLE port, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait);

// Ends the read with ECANCELED and sets its event. ENOENT if it is over already.
BOOL CancelIoEx(HANDLE port, OVERLAPPED* overlapped);

// Waits until one of `count` (1 or 2) events is set and returns the smallest
// index of one that is, or WAIT_FAILED. Waiting for all, or with a time-out other
// than INFINITE, is not supported (EINVAL).
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* events, BOOL wait_all, DWORD milliseconds);

// Closes an event or a port. Whoever is inside a function with it goes on with
// it; a read under way ends with ECANCELED.
BOOL CloseHandle(HANDLE handle);

}  // namespace platform::serial
