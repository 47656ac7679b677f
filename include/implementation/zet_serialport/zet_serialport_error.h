// zet_serialport_error.h - what can go wrong with a serial port.
#pragma once

#include <string>
#include <system_error>

namespace zet_serialport_lib {

enum zet_serialport_error : int {
  ERR_SERIALPORT_OPEN = 1,  // open failed, or a read on a closed port
  ERR_QUERY_SETTINGS = 2,   // the line settings could not be read
  ERR_ASSIGN_SETTINGS = 3,  // the line does not take the settings
  ERR_TIMEOUT = 4,          // a read's time-out passed
  ERR_READ_TRANSPORT = 5,   // not raised
  ERR_WRITE_TRANSPORT = 6,  // not raised
  ERR_OPERATION_CANCELLED = 7,
  ERR_BYTES_AVAILABLE = 8,  // not raised
  ERR_GENERIC = 9,          // any other failure of the receive thread
};

// The value's name as written above, or "zet_serialport_error unknown value".
// The text lives as long as the program.
const char* zet_serialport_error_name(zet_serialport_error error);

// A failure of a serial port. code() is the operating system's error code;
// what() is the message, ": " and the system's description of that code.
class zet_serialport_exception : public std::system_error {
 public:
  zet_serialport_exception(zet_serialport_error error, std::error_code code,
                           const std::string& message);

  zet_serialport_error error() const noexcept { return error_; }

 private:
  zet_serialport_error error_;
};

// Throws zet_serialport_exception with the message "error: NAME message: CONTEXT".
[[noreturn]] void raise_serialport_error(zet_serialport_error error, std::error_code code,
                                         const char* context);

}  // namespace zet_serialport_lib
