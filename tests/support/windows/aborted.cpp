#include "tests/support/aborted.h"

namespace test_support {

bool aborted(int status) {
  return status == 3;  // the C library's own number for abort()
}

}  // namespace test_support
