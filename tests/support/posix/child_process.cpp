#include "tests/support/child_process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace test_support {

child_process::child_process(const std::vector<std::string>& command) {
  std::vector<std::string> texts = command;
  std::vector<char*> arguments;
  for (std::string& text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);
  pid_t process = 0;
  const int error =
      posix_spawn(&process, arguments[0], nullptr, nullptr, arguments.data(), environ);
  if (error != 0) throw std::system_error(error, std::generic_category(), "posix_spawn");
  process_ = process;
}

child_process::~child_process() {
  if (process_ == none) return;
  kill();
  wait();
}

void child_process::kill() {
  ::kill(static_cast<pid_t>(process_), SIGKILL);
}

child_process::ending child_process::wait() {
  int status = 0;
  while (waitpid(static_cast<pid_t>(process_), &status, 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
  }
  process_ = none;
  if (WIFEXITED(status)) return {false, WEXITSTATUS(status)};
  return {true, 0};
}

void kill_this_process() {
  raise(SIGKILL);
  std::abort();
}

}  // namespace test_support
