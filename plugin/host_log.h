// host_log.h - the host's log callback with its user data.
#pragma once

#include <kovax/source.h>

#include <cstdint>
#include <string>

namespace veltra {

// A copy of what the host gave at init; usable until release. The callback runs
// on the calling thread, and what it throws goes to the caller.
struct host_log {
  kovax_log_callback function = nullptr;  // null: nothing is logged
  void* user_data = nullptr;

  // `source` is the instance, or null for messages that belong to none.
  void write(kovax_source* source, std::int32_t level, const std::string& message) const {
    if (function != nullptr) function(source, user_data, level, message.c_str());
  }
};

}  // namespace veltra
