// thread.h - starting a thread, with a failure that says so.
#pragma once

#include <system_error>
#include <thread>
#include <utility>

namespace platform {

// The system has no thread left: a limit on threads or memory is reached. The text is
// "cannot start a thread: " and the system's reason.
class thread_failure : public std::system_error {
 public:
  explicit thread_failure(std::error_code reason)
      : std::system_error(reason, "cannot start a thread") {}
};

// Throws thread_failure.
template <typename Work>
std::thread start_thread(Work&& work) {
  try {
    return std::thread(std::forward<Work>(work));
  } catch (const std::system_error& failure) {
    throw thread_failure(failure.code());
  }
}

}  // namespace platform
