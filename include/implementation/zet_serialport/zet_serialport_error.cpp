#include "implementation/zet_serialport/zet_serialport_error.h"

#include <fmt/format.h>

namespace zet_serialport_lib {

const char* zet_serialport_error_name(zet_serialport_error error) {
  switch (error) {
    case ERR_SERIALPORT_OPEN:
      return "ERR_SERIALPORT_OPEN";
    case ERR_QUERY_SETTINGS:
      return "ERR_QUERY_SETTINGS";
    case ERR_ASSIGN_SETTINGS:
      return "ERR_ASSIGN_SETTINGS";
    case ERR_TIMEOUT:
      return "ERR_TIMEOUT";
    case ERR_READ_TRANSPORT:
      return "ERR_READ_TRANSPORT";
    case ERR_WRITE_TRANSPORT:
      return "ERR_WRITE_TRANSPORT";
    case ERR_OPERATION_CANCELLED:
      return "ERR_OPERATION_CANCELLED";
    case ERR_BYTES_AVAILABLE:
      return "ERR_BYTES_AVAILABLE";
    case ERR_GENERIC:
      return "ERR_GENERIC";
  }
  return "zet_serialport_error unknown value";
}

zet_serialport_exception::zet_serialport_exception(zet_serialport_error error, std::error_code code,
                                                   const std::string& message)
    : std::system_error(code, message), error_(error) {}

void raise_serialport_error(zet_serialport_error error, std::error_code code, const char* context) {
  throw zet_serialport_exception(
      error, code, fmt::format("error: {} message: {}", zet_serialport_error_name(error), context));
}

}  // namespace zet_serialport_lib
