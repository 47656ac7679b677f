#include "host/console.h"

#include <cerrno>
#include <cstdio>

#include "host/output/output_failure.h"

namespace veltra::host {

void print_message(std::string_view text) noexcept {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw output_failure("cannot write", "-", errno);
  }
}

}  // namespace veltra::host
