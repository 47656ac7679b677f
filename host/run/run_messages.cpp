#include "host/run/run_messages.h"

#include <fmt/format.h>

#include <utility>

#include "host/console.h"
#include "host/database/database_failure.h"
#include "host/terminal_line.h"

namespace veltra::host {

run_messages::run_messages(const run_options& options, teller tell)
    : options_(options), tell_(std::move(tell)) {}

bool run_messages::take(std::int32_t level, std::string_view message) {
  const std::string line =
      options_.verbose ? fmt::format("[{}] {}\n", level, sanitize(message)) : "";
  if (std::this_thread::get_id() != thread_) {
    host::tell(line);
    return false;
  }
  if (options_.verbose) tell_(line);
  const source_event event = parse_event(level, message);
  events_.take(event);
  if (!event.is_failure || options_.verbose) return true;
  const std::string text = describe_nonfatal_failure(event, options_.database, events_);
  if (!text.empty()) take_failure(text);
  return true;
}

void run_messages::take_failure(const std::string& text) {
  if (const auto known = told_.find(text); known != told_.end()) {
    ++known->second;
  } else if (told_.size() == most_told) {
    ++untold_;
  } else {
    told_.emplace(text, 0);
    tell_(fmt::format("veltra: note: {}\n", text));
  }
}

void run_messages::finish() {
  for (const auto& [text, again] : std::exchange(told_, {})) {
    if (again == 0) continue;
    tell_(fmt::format("veltra: note, {} more time{}: {}\n", again, again == 1 ? "" : "s", text));
  }
  if (const std::size_t more = std::exchange(untold_, 0)) {
    tell_(fmt::format("veltra: note: {} more message{} of failures; --verbose shows them.\n", more,
                      more == 1 ? "" : "s"));
  }
}

}  // namespace veltra::host
