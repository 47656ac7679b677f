#include "tests/support/drive.h"

namespace test_support {

const char* const drive = "C:";

}  // namespace test_support
