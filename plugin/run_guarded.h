// run_guarded.h - failures of start and stop become a stored error and a code.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace veltra {

// The last failure of start or stop: empty and 0 at first, never cleared by a
// success. Any thread.
class last_error {
 public:
  struct value {
    std::string message;
    std::int32_t code = 0;
  };

  void store(std::string message, std::int32_t code);
  value load() const;

 private:
  value value_;
  // Start and stop may fail at the same time on two threads.
  mutable std::mutex mutex_;
};

// Calls `body` and returns 0, or stores what it throws in `error`, as UTF-8, and
// returns the code: the code of a veltra_exception, else 100. An empty `body` fails
// like one that throws std::bad_function_call. Throws only if storing fails.
std::int32_t run_guarded(last_error& error, const std::function<void()>& body);

}  // namespace veltra
