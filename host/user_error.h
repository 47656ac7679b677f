// user_error.h - the one way in which a command of `veltra` fails.
#pragma once

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

}  // namespace veltra::host
