// child_process.h - another process, to be waited for or killed.
#pragma once

#include <string>
#include <vector>

namespace test_support {

class child_process {
 public:
  // Starts the program at the path `command[0]`. Throws std::system_error.
  explicit child_process(const std::vector<std::string>& command);
  child_process(const child_process&) = delete;
  child_process& operator=(const child_process&) = delete;
  ~child_process();  // kills it if it was not waited for

  // Takes the process away without any notice to it (SIGKILL).
  void kill();

  struct ending {
    bool killed = false;  // by a signal
    int exit_code = 0;    // if not killed
  };

  // Waits for the process to end; once.
  ending wait();

 private:
  int process_ = -1;  // negative once waited for
};

}  // namespace test_support
