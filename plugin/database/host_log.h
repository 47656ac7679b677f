// host_log.h - the host's log callback with what it has to be given.
#pragma once

#include <kovax/source.h>

#include <string>

namespace veltra {

// The host's log sink; cheap to copy. It owns nothing: the host keeps callback and user
// data usable (see kovax_source_init_args). Calls run on the caller's thread and let
// through what the callback throws.
struct host_log {
  kovax_log_callback function = nullptr;  // null: nothing is logged
  void* user_data = nullptr;
  kovax_source* source = nullptr;  // null before an instance exists

  // False if a message would go nowhere: its text need not be made.
  bool listening() const { return function != nullptr; }

  // What is being done.
  void progress(const char* message) const { send(KOVAX_LOG_PROGRESS, message); }
  void progress(const std::string& message) const { progress(message.c_str()); }

  // Something failed and the work goes on.
  void recoverable_failure(const std::string& message) const {
    send(KOVAX_LOG_RECOVERABLE_FAILURE, message.c_str());
  }

 private:
  void send(int32_t level, const char* message) const {
    if (listening()) function(source, user_data, level, message);
  }
};

}  // namespace veltra
