// run_messages.h - what the plug-in says while it works, and who hears it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>

#include "host/database/database_events.h"
#include "host/run/run_options.h"

namespace veltra::host {

// Takes the plug-in's messages. On request all of them are shown. Otherwise a person
// is told of failures that the plug-in passed over, each once: a catalogue that is
// not up to date must not pass for one that is.
//
// Belongs to the thread that makes it. Messages on others - the one that stops the
// run is told of it - are shown on request, on stderr, and count for nothing.
class run_messages {
 public:
  // Puts whole lines on the terminal.
  using teller = std::function<void(std::string_view lines)>;

  // Different failures that are told; more are only counted.
  static constexpr std::size_t most_told = 50;

  // `options` must outlive the object.
  run_messages(const run_options& options, teller tell);

  // Takes one message. Returns false if it came on another thread.
  bool take(std::int32_t level, std::string_view message);

  // Tells how often failures came again; once, when no more messages come.
  void finish();

  const database_events& events() const { return events_; }

 private:
  void take_failure(const std::string& text);

  const run_options& options_;
  const teller tell_;
  const std::thread::id thread_ = std::this_thread::get_id();
  database_events events_;
  std::map<std::string, std::size_t> told_;  // with how often it came again
  std::size_t untold_ = 0;
};

}  // namespace veltra::host
