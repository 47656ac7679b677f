// file_size_limit.h - files that cannot grow, for tests of a full disk that need none.
#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace test_support {

// While it lives, a write beyond `bytes` of a regular file fails with EFBIG (setrlimit,
// POSIX.1), after as many bytes as there is room for. One at a time.
class file_size_limit {
 public:
  explicit file_size_limit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit now{bytes, before_.rlim_max};
    handler_before_ = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &now);
  }
  file_size_limit(const file_size_limit&) = delete;
  file_size_limit& operator=(const file_size_limit&) = delete;
  ~file_size_limit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_before_);
  }

 private:
  rlimit before_{};
  void (*handler_before_)(int) = SIG_DFL;
};

}  // namespace test_support
