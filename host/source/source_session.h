// source_session.h - one instance of the plug-in, from init to release.
#pragma once

#include <kovax/source.h>

#include <cstdint>
#include <exception>
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

// Gets what an instance delivers.
class source_listener {
 public:
  virtual ~source_listener() = default;

  // On the thread of run(); what it throws ends the run. The packet's views end with
  // the call.
  virtual void on_packet(const packet& packet) = 0;

  // On the thread of init(), run() or stop(); what it throws is ignored.
  virtual void on_message(std::int32_t level, std::string_view message) = 0;
};

// One thread, except for stop().
class source_session {
 public:
  // Both must outlive the session.
  source_session(const plugin_library& plugin, source_listener& listener);
  source_session(const source_session&) = delete;
  source_session& operator=(const source_session&) = delete;
  ~source_session();

  // Creates the instance from its init parameters, a JSON text. Returns the
  // failure, if any; then the session can only be destroyed.
  source_failure init(const std::string& parameters);

  // Runs until the input ends, stop() or a failure, which it returns. What the
  // listener throws ends the run and is thrown from here.
  source_failure run();

  // Ends run() soon. Any thread, between init() and destruction.
  void stop();

 private:
  static void take_packet(kovax_source* source, void* user_data, kovax_stream_packet_t record);
  static void take_log(kovax_source* source, void* user_data, std::int32_t level,
                       const char* message);

  const plugin_library& plugin_;
  source_listener& listener_;
  kovax_source* source_ = nullptr;
  std::exception_ptr thrown_;  // by the listener; must not pass through the plug-in
};

}  // namespace veltra::host
