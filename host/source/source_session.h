// source_session.h - one instance of the plug-in, from init to release.
#pragma once

#include <kovax/source.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

#include "host/source/packet.h"
#include "host/source/plugin_library.h"
#include "host/source/source_events.h"

namespace veltra::host {

// Text and code of a failure that the plug-in reported; code 0 is none.
struct source_failure {
  std::int32_t code = 0;
  std::string message;

  failure_kind kind() const { return classify_failure(message); }

  explicit operator bool() const noexcept { return code != 0; }
};

// One thread, but for stop().
class source_session {
 public:
  using packet_handler = std::function<void(const packet&)>;
  using log_handler = std::function<void(std::int32_t level, std::string_view message)>;

  // `log` receives the plug-in's messages and may be empty; what it throws is
  // ignored. `plugin` must outlive the session.
  source_session(const plugin_library& plugin, log_handler log);
  source_session(const source_session&) = delete;
  source_session& operator=(const source_session&) = delete;
  ~source_session();

  // Creates the instance from its init parameters, a JSON text. Returns the
  // failure, if any; then the session can only be destroyed.
  source_failure init(const std::string& parameters);

  // Runs until the input ends, stop() or a failure, which it returns. What
  // `handle` throws ends the run and is thrown from here.
  source_failure run(packet_handler handle);

  // Ends run() soon. Any thread, between init() and destruction.
  void stop();

 private:
  static void take_packet(kovax_source* source, void* user_data, kovax_stream_packet_t record);
  static void take_log(kovax_source* source, void* user_data, std::int32_t level,
                       const char* message);

  const plugin_library& plugin_;
  const log_handler log_;
  kovax_source* source_ = nullptr;
  packet_handler handle_;
  std::exception_ptr thrown_;  // by handle_; must not pass through the plug-in
};

}  // namespace veltra::host
