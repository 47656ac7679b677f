#include "implementation/zet_serialport/win32/zet_serialport_win32.h"

#include <vector>

#include "implementation/contract.h"
#include "implementation/zet_serialport/zet_serialport_error.h"

namespace zet_serialport_lib {

using namespace platform::serial;

namespace {

[[noreturn]] void raise_last_error(zet_serialport_error error, const char* context) {
  // First of all: anything else could change it.
  const auto code = static_cast<int>(GetLastError());
  raise_serialport_error(error, {code, std::system_category()}, context);
}

// Ports from COM10 on exist only in the device namespace, where the lower
// numbers are found as well.
std::string device_name(const std::string& port_name) {
  return port_name.starts_with("COM") ? "\\\\.\\" + port_name : port_name;
}

// An event that is reset by hand and not set. In full, for Win32's own of that name
// is one for all ports.
HANDLE new_event(const char* name) {
  return platform::serial::CreateEventA(nullptr, TRUE, FALSE, name);
}

// One event, closed at the end of its read cycle.
class cycle_event {
 public:
  cycle_event() : handle_(new_event(nullptr)) {}
  cycle_event(const cycle_event&) = delete;
  cycle_event& operator=(const cycle_event&) = delete;
  ~cycle_event() { CloseHandle(handle_); }

  HANDLE handle() const { return handle_; }

 private:
  HANDLE handle_;
};

// One read cycle: asks for exactly what fits `buffer` and hands on what came.
class read_cycle {
 public:
  read_cycle(HANDLE port, HANDLE abort_event, std::span<std::uint8_t> buffer)
      : port_(port), abort_event_(abort_event), buffer_(buffer) {
    overlapped_.hEvent = event_.handle();
  }

  void run(const zet_serialport_win32::sink& received) {
    DWORD count = 0;
    if (ReadFile(port_, buffer_.data(), static_cast<DWORD>(buffer_.size()), &count, &overlapped_) ==
        FALSE) {
      if (GetLastError() != ERROR_IO_PENDING) raise_last_error(ERR_GENERIC, "Error not IO pending");
      try {
        count = wait_for_read();
      } catch (...) {
        cancel(received);
        throw;
      }
    }
    received(buffer_.first(count));
  }

 private:
  DWORD wait_for_read() {
    const HANDLE events[] = {overlapped_.hEvent, abort_event_};
    DWORD count = 0;
    switch (WaitForMultipleObjects(2, events, FALSE, INFINITE)) {
      case WAIT_OBJECT_0:
        if (GetOverlappedResult(port_, &overlapped_, &count, TRUE) == FALSE) {
          raise_last_error(ERR_GENERIC, "GetOverlappedResult failed");
        }
        return count;
      case WAIT_OBJECT_0 + 1:
        raise_last_error(ERR_OPERATION_CANCELLED, "wait rx aborted");
      default:
        raise_last_error(ERR_GENERIC, "undefined result from WaitForMultipleObjects");
    }
  }

  // The system owns the buffer and the OVERLAPPED until the read is over, also
  // when it is cancelled; a read that won against its cancellation has bytes.
  void cancel(const zet_serialport_win32::sink& received) {
    CancelIoEx(port_, &overlapped_);
    DWORD count = 0;
    if (GetOverlappedResult(port_, &overlapped_, &count, TRUE) != FALSE && count > 0) {
      received(buffer_.first(count));
    }
  }

  const HANDLE port_;
  const HANDLE abort_event_;
  const std::span<std::uint8_t> buffer_;
  cycle_event event_;
  OVERLAPPED overlapped_{};
};

}  // namespace

void fill_device_control_block(const zet_serialport_settings& settings, DCB& dcb) {
  if (settings.baud_rate) dcb.BaudRate = *settings.baud_rate;
  if (settings.character_size) dcb.ByteSize = *settings.character_size;
  if (settings.parity) {
    const bool odd = *settings.parity == parity::odd;
    const bool even = *settings.parity == parity::even;
    dcb.Parity = odd ? ODDPARITY : even ? EVENPARITY : NOPARITY;
    dcb.fParity = odd || even ? 1 : 0;
  }
  if (settings.stop_bits) {
    switch (*settings.stop_bits) {
      case stop_bits::one:
        dcb.StopBits = ONESTOPBIT;
        break;
      case stop_bits::one_and_a_half:
        dcb.StopBits = ONE5STOPBITS;
        break;
      case stop_bits::two:
        dcb.StopBits = TWOSTOPBITS;
        break;
    }
  }
  if (settings.flow_control) {
    const bool software = *settings.flow_control == flow_control::software;
    const bool hardware = *settings.flow_control == flow_control::hardware;
    dcb.fOutxCtsFlow = hardware ? 1 : 0;
    dcb.fOutxDsrFlow = 0;
    dcb.fDtrControl = DTR_CONTROL_ENABLE;
    dcb.fDsrSensitivity = 0;
    dcb.fTXContinueOnXoff = 1;
    dcb.fOutX = software ? 1 : 0;
    dcb.fInX = software ? 1 : 0;
    dcb.fNull = 0;
    dcb.fRtsControl = RTS_CONTROL_ENABLE;
    if (hardware) dcb.fRtsControl = RTS_CONTROL_HANDSHAKE;
    dcb.fAbortOnError = 0;
  }
  dcb.DCBlength = sizeof(DCB);
  dcb.fBinary = 1;
}

zet_serialport_win32::released_port::~released_port() {
  CloseHandle(port_);
}

zet_serialport_win32::zet_serialport_win32()
    : port_(INVALID_HANDLE_VALUE),
      rx_worker_pipe_(new_event("ZetSerialportAbortRxEvent")),
      abort_write_(new_event("ZetSerialportAbortWriteEvent")) {
  // CreateEventA fails with null, which goes unnoticed here; the first
  // ResetEvent() then fails.
  KOVAX_CONTRACT_TEXT(rx_worker_pipe_ != INVALID_HANDLE_VALUE,
                      "rx_worker_pipe != INVALID_HANDLE_VALUE");
  KOVAX_CONTRACT_TEXT(abort_write_ != INVALID_HANDLE_VALUE, "abort_write != INVALID_HANDLE_VALUE");
}

zet_serialport_win32::~zet_serialport_win32() {
  CloseHandle(rx_worker_pipe_);
  CloseHandle(abort_write_);
}

bool zet_serialport_win32::is_open() const {
  return port_ != INVALID_HANDLE_VALUE;
}

void zet_serialport_win32::open(const std::string& port_name) {
  const HANDLE port = CreateFileA(device_name(port_name).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
  if (port == INVALID_HANDLE_VALUE) {
    raise_last_error(ERR_SERIALPORT_OPEN, "Win32 open serialport error");
  }
  port_ = port;
}

void zet_serialport_win32::reset_events() {
  abort_requested_ = false;
  takes_queued_ = false;
  KOVAX_CONTRACT_TEXT(ResetEvent(rx_worker_pipe_) != FALSE, "ResetEvent(rx_worker_pipe)");
  KOVAX_CONTRACT_TEXT(ResetEvent(abort_write_) != FALSE, "ResetEvent(abort_write)");
}

void zet_serialport_win32::apply(const zet_serialport_settings& settings) {
  DCB dcb{};
  if (GetCommState(port_, &dcb) == FALSE) {
    raise_last_error(ERR_QUERY_SETTINGS, "Win32 GetCommState error");
  }
  fill_device_control_block(settings, dcb);
  if (SetCommState(port_, &dcb) == FALSE) {
    raise_last_error(ERR_ASSIGN_SETTINGS, "Win32 SetCommState error");
  }
}

void zet_serialport_win32::purge() {
  // A failure does not prevent receiving: at worst some old bytes come first.
  PurgeComm(port_, PURGE_TXABORT | PURGE_RXABORT | PURGE_TXCLEAR | PURGE_RXCLEAR);
}

void zet_serialport_win32::receive(HANDLE port, const sink& received) {
  std::vector<std::uint8_t> buffer;
  for (;;) {
    // A line that never falls silent never waits, so the event is not enough.
    const bool is_aborted = abort_requested_;
    DWORD queued = 0;
    if (!is_aborted || takes_queued_) {
      COMSTAT status{};
      if (ClearCommError(port, nullptr, &status) == FALSE) {
        raise_last_error(ERR_GENERIC, "ClearComm failed");
      }
      queued = status.cbInQue;
    }
    if (!is_aborted || queued != 0) {
      buffer.resize(queued == 0 ? 1 : queued);
      read_cycle(port, rx_worker_pipe_, buffer).run(received);
    }
    if (is_aborted) {
      raise_serialport_error(ERR_OPERATION_CANCELLED,
                             std::make_error_code(std::errc::operation_canceled),
                             "wait rx aborted");
    }
  }
}

void zet_serialport_win32::abort_receive(bool take_queued) {
  takes_queued_ = take_queued;
  abort_requested_ = true;
  SetEvent(rx_worker_pipe_);
}

zet_serialport_win32::released_port zet_serialport_win32::release() {
  return released_port(port_.exchange(INVALID_HANDLE_VALUE));
}

}  // namespace zet_serialport_lib
