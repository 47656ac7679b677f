#include "tests/support/paths.h"

namespace test_support {

const char* const drive = "C:";

std::filesystem::path name_without_text() {
  return L"\xD800.json";  // half of a surrogate pair
}

}  // namespace test_support
