// The interface headers as a C++ host sees them, in the language version that
// the build gives this file.
#define CHECK_LAYOUT(condition, text) static_assert(condition, text)
#include "tests/abi/header_layout.h"

long HEADER_LANGUAGE_FUNCTION();
long HEADER_LANGUAGE_FUNCTION() {
  return __cplusplus;
}
