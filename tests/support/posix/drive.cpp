#include "tests/support/drive.h"

namespace test_support {

const char* const drive = "";

}  // namespace test_support
