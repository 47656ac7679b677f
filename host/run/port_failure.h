// port_failure.h - what the failures of a serial port mean for the user.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/source/source_session.h"
#include "host/user_error.h"
#include "platform/serial_devices.h"

namespace veltra::host {

// A sentence for a run that failed because of its port: it could not be opened, does
// not support its settings, or was lost. `remark` says what became of the capture, with
// the punctuation that precedes it; empty if there was to be none. `holders` are those of
// the port and named when it is in use. Nothing for any other failure. Any thread.
std::optional<user_error> explain_port_failure(const source_failure& failure,
                                               const std::string& port, std::string_view remark,
                                               const platform::device_holders& holders);

// "terminal (process 812), logger (process 97)".
std::string list_holders(const platform::device_holders& holders);

}  // namespace veltra::host
