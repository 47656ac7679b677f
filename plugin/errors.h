// errors.h - the plug-in's own exceptions, and how a failure becomes a stored error and a
// code. Everything else that fails throws std::runtime_error,
// std::filesystem::filesystem_error or the JSON library's errors.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

namespace kovax {

// A failure with a code of its own; the code does not reach the host.
class kovax_exception : public std::runtime_error {
 public:
  kovax_exception(std::int32_t code, const std::string& message)
      : std::runtime_error(message), code_(code) {}

  std::int32_t code() const noexcept { return code_; }

 private:
  std::int32_t code_;
};

}  // namespace kovax

namespace veltra {

// A failure whose code becomes the result of kovax_source_start or
// kovax_source_stop.
class veltra_exception : public std::runtime_error {
 public:
  veltra_exception(std::int32_t code, const std::string& message)
      : std::runtime_error(message), code_(code) {}

  std::int32_t code() const noexcept { return code_; }

 private:
  std::int32_t code_;
};

// The last failure of start or stop: empty and 0 at first, never cleared by a
// success. Any thread.
class last_error {
 public:
  struct value {
    std::string message;
    std::int32_t code = 0;
  };

  void store(std::string message, std::int32_t code);
  // Allocates nothing. Never null.
  std::shared_ptr<const value> load() const;

 private:
  std::shared_ptr<const value> value_ = std::make_shared<value>();
  // Start and stop may fail at the same time on two threads.
  mutable std::mutex mutex_;
};

// Calls `body` and returns 0, or stores what it throws in `error`, as UTF-8, and
// returns the code: the code of a veltra_exception, else 100. An empty `body` fails
// like one that throws std::bad_function_call. Throws only if storing fails.
std::int32_t run_guarded(last_error& error, const std::function<void()>& body);

}  // namespace veltra
