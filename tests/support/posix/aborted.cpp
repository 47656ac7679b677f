#include "tests/support/aborted.h"

#include <sys/wait.h>

#include <csignal>

namespace test_support {

bool aborted(int status) {
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

}  // namespace test_support
