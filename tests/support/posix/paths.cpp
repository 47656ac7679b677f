#include "tests/support/paths.h"

namespace test_support {

const char* const drive = "";

std::filesystem::path name_without_text() {
  return "\xFF.json";
}

}  // namespace test_support
