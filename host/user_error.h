// user_error.h - the one way in which a command of `veltra` fails.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include "host/exit_code.h"

namespace veltra::host {

// A failure that its reader can act on. The text is one sentence (or two short
// ones) that names the thing, the reason and the next step; main() prints it
// behind "veltra: " and ends with the code.
class user_error : public std::runtime_error {
 public:
  user_error(exit_code code, const std::string& text) : std::runtime_error(text), code_(code) {}

  exit_code code() const noexcept { return code_; }

 private:
  exit_code code_;
};

// What a person is shown of a failure that ends a command, as a whole line, and the exit
// code. `failure` is a std::exception; one that is not a user_error is a defect.
struct failure_line {
  std::string text;
  exit_code code;
};
failure_line describe_failure(const std::exception_ptr& failure);

}  // namespace veltra::host
