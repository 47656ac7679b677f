#include "tests/support/descriptors.h"

#include <io.h>

namespace test_support {

int lead_elsewhere(std::FILE* stream, std::FILE* target) {
  const int before = _dup(_fileno(stream));
  return _dup2(_fileno(target), _fileno(stream)) < 0 ? -1 : before;
}

void lead_back(std::FILE* stream, int before) {
  _dup2(before, _fileno(stream));
  _close(before);
}

}  // namespace test_support
