// child_process.h - another process, to be waited for or killed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test_support {

class child_process {
 public:
  // Starts the program at the path `command[0]`; all UTF-8. Throws std::system_error.
  explicit child_process(const std::vector<std::string>& command);
  child_process(const child_process&) = delete;
  child_process& operator=(const child_process&) = delete;
  ~child_process();  // kills it if it was not waited for

  // Takes the process away without any notice to it.
  void kill();

  struct ending {
    bool killed = false;
    int exit_code = 0;  // if not killed
  };

  // Waits for the process to end; once.
  ending wait();

 private:
  static constexpr std::intptr_t none = -1;

  std::intptr_t process_ = none;  // none once waited for
};

// Ends the calling process as kill() does.
[[noreturn]] void kill_this_process();

}  // namespace test_support
