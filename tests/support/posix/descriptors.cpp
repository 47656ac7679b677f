#include "tests/support/descriptors.h"

#include <unistd.h>

namespace test_support {

int lead_elsewhere(std::FILE* stream, std::FILE* target) {
  const int before = dup(fileno(stream));
  return dup2(fileno(target), fileno(stream)) < 0 ? -1 : before;
}

void lead_back(std::FILE* stream, int before) {
  dup2(before, fileno(stream));
  close(before);
}

}  // namespace test_support
